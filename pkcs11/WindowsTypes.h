// The PKCS#11 types in the layout of a 64-bit Windows program: packed to single bytes, numbers of 32 bits, and
// functions with Windows' calling convention. The host's compiler compiles this and the rest of the module's Windows
// interface.
#pragma once

#include <cstddef>
#include <cstdint>

#include "cryptoki/Pkcs11.h"

// The attribute is part of a function's type, and both compilers expect it in this place.
#define TELVO_WINDOWS_ABI __attribute__((ms_abi))

namespace pkcs11::windows {

using Number = std::uint32_t;

// All ones: "no such length" or "no such number".
constexpr Number kUnavailable = 0xFFFFFFFF;

#pragma pack(push, 1)

struct Info {
  CK_VERSION cryptokiVersion;
  CK_UTF8CHAR manufacturerID[32];
  Number flags;
  CK_UTF8CHAR libraryDescription[32];
  CK_VERSION libraryVersion;
};

struct SlotInfo {
  CK_UTF8CHAR slotDescription[64];
  CK_UTF8CHAR manufacturerID[32];
  Number flags;
  CK_VERSION hardwareVersion;
  CK_VERSION firmwareVersion;
};

struct TokenInfo {
  CK_UTF8CHAR label[32];
  CK_UTF8CHAR manufacturerID[32];
  CK_UTF8CHAR model[16];
  CK_UTF8CHAR serialNumber[16];
  Number flags;
  Number ulMaxSessionCount;
  Number ulSessionCount;
  Number ulMaxRwSessionCount;
  Number ulRwSessionCount;
  Number ulMaxPinLen;
  Number ulMinPinLen;
  Number ulTotalPublicMemory;
  Number ulFreePublicMemory;
  Number ulTotalPrivateMemory;
  Number ulFreePrivateMemory;
  CK_VERSION hardwareVersion;
  CK_VERSION firmwareVersion;
  CK_UTF8CHAR utcTime[16];
};

struct SessionInfo {
  Number slotID;
  Number state;
  Number flags;
  Number ulDeviceError;
};

struct MechanismInfo {
  Number ulMinKeySize;
  Number ulMaxKeySize;
  Number flags;
};

struct Attribute {
  Number type;
  void* pValue;
  Number ulValueLen;
};

struct Mechanism {
  Number mechanism;
  void* pParameter;
  Number ulParameterLen;
};

struct OaepParameters {
  Number hashAlg;
  Number mgf;
  Number source;
  void* pSourceData;
  Number ulSourceDataLen;
};

struct PssParameters {
  Number hashAlg;
  Number mgf;
  Number sLen;
};

struct InitializeArguments {
  void* CreateMutex;
  void* DestroyMutex;
  void* LockMutex;
  void* UnlockMutex;
  Number flags;
  void* pReserved;
};

struct FunctionList;

// Windowed<T> is the Windows type of a parameter of native type T.
template <typename T>
struct WindowedType {
  using Type = T;
};
template <>
struct WindowedType<CK_ULONG> {
  using Type = Number;
};
template <>
struct WindowedType<CK_ULONG*> {
  using Type = Number*;
};
template <>
struct WindowedType<CK_INFO*> {
  using Type = Info*;
};
template <>
struct WindowedType<CK_SLOT_INFO*> {
  using Type = SlotInfo*;
};
template <>
struct WindowedType<CK_TOKEN_INFO*> {
  using Type = TokenInfo*;
};
template <>
struct WindowedType<CK_SESSION_INFO*> {
  using Type = SessionInfo*;
};
template <>
struct WindowedType<CK_MECHANISM_INFO*> {
  using Type = MechanismInfo*;
};
template <>
struct WindowedType<CK_ATTRIBUTE*> {
  using Type = Attribute*;
};
template <>
struct WindowedType<CK_MECHANISM*> {
  using Type = Mechanism*;
};
template <>
struct WindowedType<CK_FUNCTION_LIST**> {
  using Type = FunctionList**;
};
// Never called from here, so its calling convention does not matter.
template <>
struct WindowedType<CK_NOTIFY> {
  using Type = void*;
};
template <typename T>
using Windowed = typename WindowedType<T>::Type;

// Entry<CK_C_Xyz> is the type of the Windows function that belongs to a native one.
template <typename Native>
struct EntryType;
template <typename... Arguments>
struct EntryType<CK_RV (*)(Arguments...)> {
  using Type = Number(TELVO_WINDOWS_ABI*)(Windowed<Arguments>...);
};
template <typename Native>
using Entry = typename EntryType<Native>::Type;

struct FunctionList {
  CK_VERSION version;
// NOLINTNEXTLINE(bugprone-macro-parentheses): the name of a member cannot be put in parentheses.
#define ENTRY(name, parameters, arguments) Entry<CK_##name> name;
#include "cryptoki/CryptokiEntries.inc"
  void* unused[4];
  Entry<CK_C_Login> C_LoginExtended;
};

#pragma pack(pop)

static_assert(sizeof(Info) == 72);
static_assert(sizeof(SlotInfo) == 104);
static_assert(sizeof(TokenInfo) == 160);
static_assert(sizeof(SessionInfo) == 16);
static_assert(sizeof(MechanismInfo) == 12);
static_assert(sizeof(Attribute) == 16);
static_assert(sizeof(Mechanism) == 16);
static_assert(sizeof(OaepParameters) == 24);
static_assert(sizeof(PssParameters) == 12);
static_assert(sizeof(InitializeArguments) == 44);
static_assert(offsetof(FunctionList, C_Initialize) == 2, "the entries come directly after the version");
static_assert(offsetof(FunctionList, C_LoginExtended) == 2 + 72 * sizeof(void*), "entry 72, counted from zero");

}  // namespace pkcs11::windows
