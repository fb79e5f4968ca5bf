#include "pkcs11/WindowsFace.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <new>
#include <vector>

#include "pkcs11/Failure.h"
#include "pkcs11/NativeTable.h"
#include "pkcs11/WindowsAttributes.h"
#include "pkcs11/WindowsMechanism.h"

namespace pkcs11::windows {
namespace {

CK_FUNCTION_LIST& Native() { return NativeTable().standard; }

// Runs the body of an entry and turns exceptions into results.
template <typename Body>
Number Answer(Body body) noexcept {
  try {
    return Narrowed(body());
  } catch (const Failure& failure) {
    return Narrowed(failure.code);
  } catch (const std::bad_alloc&) {
    return CKR_HOST_MEMORY;
  }
}

// Argument<T> translates an argument of the caller into the native T. Its destructor writes results back.
template <typename T>
class Argument {
 public:
  explicit Argument(T value) : m_value(value) {}
  T Native() { return m_value; }

 private:
  T m_value;
};

template <>
class Argument<CK_ULONG> {
 public:
  explicit Argument(Number value) : m_value(value) {}
  CK_ULONG Native() const { return m_value; }

 private:
  CK_ULONG m_value;
};

// A length, which is read and written back, or a handle, which is written back.
template <>
class Argument<CK_ULONG*> {
 public:
  explicit Argument(Number* place) : m_place(place), m_value(place == nullptr ? 0 : *place) {}
  ~Argument() {
    if (m_place != nullptr) *m_place = Narrowed(m_value);
  }
  Argument(const Argument&) = delete;
  Argument& operator=(const Argument&) = delete;

  CK_ULONG* Native() { return m_place == nullptr ? nullptr : &m_value; }

 private:
  Number* const m_place;
  CK_ULONG m_value;
};

template <>
class Argument<CK_MECHANISM*> {
 public:
  explicit Argument(const Mechanism* mechanism) : m_mechanism(mechanism) {}
  CK_MECHANISM* Native() { return m_mechanism.Get(); }

 private:
  MechanismIn m_mechanism;
};

// Callbacks are ignored: the token never calls them.
template <>
class Argument<CK_NOTIFY> {
 public:
  explicit Argument(void* /*notify*/) {}
  CK_NOTIFY Native() { return nullptr; }
};

template <auto Entry, typename... Arguments>
CK_RV CallNative(Argument<Arguments>&&... arguments) {
  return (Native().*Entry)(arguments.Native()...);
}

// The Windows function of an entry whose arguments can be translated one by one.
template <auto Entry, typename Signature>
struct Thunk;

template <auto Entry, typename... Arguments>
struct Thunk<Entry, CK_RV (*)(Arguments...)> {
  static Number TELVO_WINDOWS_ABI Call(Windowed<Arguments>... given) {
    return Answer([&] { return CallNative<Entry>(Argument<Arguments>(given)...); });
  }
};

template <typename To, typename From>
void Copy(To& to, const From& from) {
  static_assert(sizeof to == sizeof from, "a text field");
  std::memcpy(&to, &from, sizeof to);
}

// Reads a list from the native side and copies it to the caller. A null `list` asks only for the count.
template <typename List>
CK_RV HandOutList(List nativeList, Number* list, Number* count) {
  Require(count != nullptr, CKR_ARGUMENTS_BAD);
  CK_ULONG available = 0;
  Check(nativeList(nullptr, &available));
  std::vector<CK_ULONG> items(available);
  if (list != nullptr) {
    Check(nativeList(items.data(), &available));
    items.resize(available);
  }
  const Number room = *count;
  *count = Narrowed(available);
  if (list == nullptr) return CKR_OK;
  if (room < items.size()) return CKR_BUFFER_TOO_SMALL;
  std::transform(items.begin(), items.end(), list, Narrowed);
  return CKR_OK;
}

// The entries that have templates, structures or lists as arguments.
struct Own {
  static Number TELVO_WINDOWS_ABI C_Initialize(void* initArgs) {
    return Answer([&] {
      if (initArgs == nullptr) return Native().C_Initialize(nullptr);
      InitializeArguments given = {};
      std::memcpy(&given, initArgs, sizeof given);
      // The four functions are never called. It only matters whether they are given.
      CK_C_INITIALIZE_ARGS native = {};
      native.CreateMutex = reinterpret_cast<CK_CREATEMUTEX>(given.CreateMutex);
      native.DestroyMutex = reinterpret_cast<CK_DESTROYMUTEX>(given.DestroyMutex);
      native.LockMutex = reinterpret_cast<CK_LOCKMUTEX>(given.LockMutex);
      native.UnlockMutex = reinterpret_cast<CK_UNLOCKMUTEX>(given.UnlockMutex);
      native.flags = given.flags;
      native.pReserved = given.pReserved;
      return Native().C_Initialize(&native);
    });
  }

  static Number TELVO_WINDOWS_ABI C_GetFunctionList(FunctionList** functionList) {
    if (functionList == nullptr) return CKR_ARGUMENTS_BAD;
    *functionList = &Table();
    return CKR_OK;
  }

  static Number TELVO_WINDOWS_ABI C_GetInfo(Info* info) {
    return Answer([&] {
      Require(info != nullptr, CKR_ARGUMENTS_BAD);
      CK_INFO native = {};
      Check(Native().C_GetInfo(&native));
      info->cryptokiVersion = native.cryptokiVersion;
      Copy(info->manufacturerID, native.manufacturerID);
      info->flags = Narrowed(native.flags);
      Copy(info->libraryDescription, native.libraryDescription);
      info->libraryVersion = native.libraryVersion;
      return CKR_OK;
    });
  }

  static Number TELVO_WINDOWS_ABI C_GetSlotList(CK_BBOOL tokenPresent, Number* slotList, Number* count) {
    return Answer([&] {
      const auto native = [&](CK_ULONG* list, CK_ULONG* length) {
        return Native().C_GetSlotList(tokenPresent, list, length);
      };
      return HandOutList(native, slotList, count);
    });
  }

  static Number TELVO_WINDOWS_ABI C_GetSlotInfo(Number slot, SlotInfo* info) {
    return Answer([&] {
      Require(info != nullptr, CKR_ARGUMENTS_BAD);
      CK_SLOT_INFO native = {};
      Check(Native().C_GetSlotInfo(slot, &native));
      Copy(info->slotDescription, native.slotDescription);
      Copy(info->manufacturerID, native.manufacturerID);
      info->flags = Narrowed(native.flags);
      info->hardwareVersion = native.hardwareVersion;
      info->firmwareVersion = native.firmwareVersion;
      return CKR_OK;
    });
  }

  static Number TELVO_WINDOWS_ABI C_GetTokenInfo(Number slot, TokenInfo* info) {
    return Answer([&] {
      Require(info != nullptr, CKR_ARGUMENTS_BAD);
      CK_TOKEN_INFO native = {};
      Check(Native().C_GetTokenInfo(slot, &native));
      Copy(info->label, native.label);
      Copy(info->manufacturerID, native.manufacturerID);
      Copy(info->model, native.model);
      Copy(info->serialNumber, native.serialNumber);
      info->flags = Narrowed(native.flags);
      info->ulMaxSessionCount = Narrowed(native.ulMaxSessionCount);
      info->ulSessionCount = Narrowed(native.ulSessionCount);
      info->ulMaxRwSessionCount = Narrowed(native.ulMaxRwSessionCount);
      info->ulRwSessionCount = Narrowed(native.ulRwSessionCount);
      info->ulMaxPinLen = Narrowed(native.ulMaxPinLen);
      info->ulMinPinLen = Narrowed(native.ulMinPinLen);
      info->ulTotalPublicMemory = Narrowed(native.ulTotalPublicMemory);
      info->ulFreePublicMemory = Narrowed(native.ulFreePublicMemory);
      info->ulTotalPrivateMemory = Narrowed(native.ulTotalPrivateMemory);
      info->ulFreePrivateMemory = Narrowed(native.ulFreePrivateMemory);
      info->hardwareVersion = native.hardwareVersion;
      info->firmwareVersion = native.firmwareVersion;
      Copy(info->utcTime, native.utcTime);
      return CKR_OK;
    });
  }

  static Number TELVO_WINDOWS_ABI C_GetMechanismList(Number slot, Number* list, Number* count) {
    return Answer([&] {
      const auto native = [&](CK_ULONG* types, CK_ULONG* length) {
        return Native().C_GetMechanismList(slot, types, length);
      };
      return HandOutList(native, list, count);
    });
  }

  static Number TELVO_WINDOWS_ABI C_GetMechanismInfo(Number slot, Number type, MechanismInfo* info) {
    return Answer([&] {
      Require(info != nullptr, CKR_ARGUMENTS_BAD);
      CK_MECHANISM_INFO native = {};
      Check(Native().C_GetMechanismInfo(slot, type, &native));
      info->ulMinKeySize = Narrowed(native.ulMinKeySize);
      info->ulMaxKeySize = Narrowed(native.ulMaxKeySize);
      info->flags = Narrowed(native.flags);
      return CKR_OK;
    });
  }

  static Number TELVO_WINDOWS_ABI C_GetSessionInfo(Number session, SessionInfo* info) {
    return Answer([&] {
      Require(info != nullptr, CKR_ARGUMENTS_BAD);
      CK_SESSION_INFO native = {};
      Check(Native().C_GetSessionInfo(session, &native));
      info->slotID = Narrowed(native.slotID);
      info->state = Narrowed(native.state);
      info->flags = Narrowed(native.flags);
      info->ulDeviceError = Narrowed(native.ulDeviceError);
      return CKR_OK;
    });
  }

  static Number TELVO_WINDOWS_ABI C_CreateObject(Number session, Attribute* attributes, Number count, Number* object) {
    return Answer([&] {
      TemplateIn native(attributes, count);
      Argument<CK_ULONG*> handle(object);
      return Native().C_CreateObject(session, native.Data(), native.Count(), handle.Native());
    });
  }

  static Number TELVO_WINDOWS_ABI C_CopyObject(Number session, Number object, Attribute* attributes, Number count,
                                               Number* newObject) {
    return Answer([&] {
      TemplateIn native(attributes, count);
      Argument<CK_ULONG*> handle(newObject);
      return Native().C_CopyObject(session, object, native.Data(), native.Count(), handle.Native());
    });
  }

  static Number TELVO_WINDOWS_ABI C_GetAttributeValue(Number session, Number object, Attribute* attributes,
                                                      Number count) {
    return Answer([&] {
      TemplateOut native(attributes, count);
      return native.Finish(Native().C_GetAttributeValue(session, object, native.Data(), native.Count()));
    });
  }

  static Number TELVO_WINDOWS_ABI C_SetAttributeValue(Number session, Number object, Attribute* attributes,
                                                      Number count) {
    return Answer([&] {
      TemplateIn native(attributes, count);
      return Native().C_SetAttributeValue(session, object, native.Data(), native.Count());
    });
  }

  static Number TELVO_WINDOWS_ABI C_FindObjectsInit(Number session, Attribute* attributes, Number count) {
    return Answer([&] {
      TemplateIn native(attributes, count);
      return Native().C_FindObjectsInit(session, native.Data(), native.Count());
    });
  }

  static Number TELVO_WINDOWS_ABI C_FindObjects(Number session, Number* objects, Number maxCount, Number* count) {
    return Answer([&] {
      Require(count != nullptr && (objects != nullptr || maxCount == 0), CKR_ARGUMENTS_BAD);
      // In pieces, so that no buffer of the caller's length is allocated.
      CK_ULONG piece[64];
      Number done = 0;
      CK_ULONG got = 0;
      do {
        const CK_ULONG room = std::min<CK_ULONG>(std::size(piece), maxCount - done);
        Check(Native().C_FindObjects(session, piece, room, &got));
        std::transform(piece, piece + got, objects + done, Narrowed);
        done += static_cast<Number>(got);
      } while (got == std::size(piece));
      *count = done;
      return CKR_OK;
    });
  }

  static Number TELVO_WINDOWS_ABI C_GenerateKey(Number session, Mechanism* mechanism, Attribute* attributes,
                                                Number count, Number* key) {
    return Answer([&] {
      MechanismIn nativeMechanism(mechanism);
      TemplateIn native(attributes, count);
      Argument<CK_ULONG*> handle(key);
      return Native().C_GenerateKey(session, nativeMechanism.Get(), native.Data(), native.Count(), handle.Native());
    });
  }

  static Number TELVO_WINDOWS_ABI C_GenerateKeyPair(Number session, Mechanism* mechanism, Attribute* publicAttributes,
                                                    Number publicCount, Attribute* privateAttributes,
                                                    Number privateCount, Number* publicKey, Number* privateKey) {
    return Answer([&] {
      MechanismIn nativeMechanism(mechanism);
      TemplateIn nativePublic(publicAttributes, publicCount);
      TemplateIn nativePrivate(privateAttributes, privateCount);
      Argument<CK_ULONG*> publicHandle(publicKey);
      Argument<CK_ULONG*> privateHandle(privateKey);
      return Native().C_GenerateKeyPair(session, nativeMechanism.Get(), nativePublic.Data(), nativePublic.Count(),
                                        nativePrivate.Data(), nativePrivate.Count(), publicHandle.Native(),
                                        privateHandle.Native());
    });
  }

  static Number TELVO_WINDOWS_ABI C_UnwrapKey(Number session, Mechanism* mechanism, Number unwrappingKey,
                                              CK_BYTE* wrapped, Number wrappedLen, Attribute* attributes, Number count,
                                              Number* key) {
    return Answer([&] {
      MechanismIn nativeMechanism(mechanism);
      TemplateIn native(attributes, count);
      Argument<CK_ULONG*> handle(key);
      return Native().C_UnwrapKey(session, nativeMechanism.Get(), unwrappingKey, wrapped, wrappedLen, native.Data(),
                                  native.Count(), handle.Native());
    });
  }

  static Number TELVO_WINDOWS_ABI C_DeriveKey(Number session, Mechanism* mechanism, Number baseKey,
                                              Attribute* attributes, Number count, Number* key) {
    return Answer([&] {
      MechanismIn nativeMechanism(mechanism);
      TemplateIn native(attributes, count);
      Argument<CK_ULONG*> handle(key);
      return Native().C_DeriveKey(session, nativeMechanism.Get(), baseKey, native.Data(), native.Count(),
                                  handle.Native());
    });
  }
};

// Choose_C_Xyz returns Own's function for an entry, or else the generated one.
#define ENTRY(name, parameters, arguments)                     \
  template <typename Server>                                   \
  constexpr auto Choose_##name(int)->decltype(&Server::name) { \
    return &Server::name;                                      \
  }                                                            \
  template <typename Server>                                   \
  constexpr auto Choose_##name(...)->Entry<CK_##name> {        \
    return &Thunk<&CK_FUNCTION_LIST::name, CK_##name>::Call;   \
  }
#include "cryptoki/CryptokiEntries.inc"

Number TELVO_WINDOWS_ABI LoginExtended(Number session, Number user, CK_UTF8CHAR* pin, Number pinLen) {
  return Answer([&] { return NativeTable().C_LoginExtended(session, user, pin, pinLen); });
}

FunctionList MakeTable() {
  FunctionList table = {};
  table.version = {2, 40};
#define ENTRY(name, parameters, arguments) table.name = Choose_##name<Own>(0);
#include "cryptoki/CryptokiEntries.inc"
  table.C_LoginExtended = &LoginExtended;
  return table;
}

}  // namespace

FunctionList& Table() {
  static FunctionList table = MakeTable();
  return table;
}

}  // namespace pkcs11::windows
