#include "SoftHsm.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <dlfcn.h>
#include <openssl/provider.h>
#include <stdexcept>
#include <vector>

#include "Files.h"
#include "SharedNames.h"

namespace softtoken {
namespace {

// Sets an environment variable for a scope. SoftHSM reads the path of its configuration from one.
class ScopedEnvironment {
 public:
  ScopedEnvironment(const char* name, const std::string& value) : m_name(name) {
    if (const char* const before = std::getenv(name)) m_before = before;
    ::setenv(name, value.c_str(), 1);
  }
  ~ScopedEnvironment() {
    if (m_before) {
      ::setenv(m_name, m_before->c_str(), 1);
    } else {
      ::unsetenv(m_name);
    }
  }
  ScopedEnvironment(const ScopedEnvironment&) = delete;
  ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

 private:
  const char* const m_name;
  std::optional<std::string> m_before;
};

// A session that is closed at the end of its scope.
class ScopedSession {
 public:
  ScopedSession(CK_FUNCTION_LIST& functions, CK_SLOT_ID slot) : m_functions(functions) {
    Check(functions.C_OpenSession(slot, CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr, &m_session));
  }
  ~ScopedSession() { m_functions.C_CloseSession(m_session); }
  ScopedSession(const ScopedSession&) = delete;
  ScopedSession& operator=(const ScopedSession&) = delete;

  CK_SESSION_HANDLE Get() const { return m_session; }

 private:
  CK_FUNCTION_LIST& m_functions;
  CK_SESSION_HANDLE m_session = 0;
};

// OpenSSL's legacy provider, which has single DES. Loading it must not switch off the automatic loading of the default
// provider: the rest of the process may need that.
class LegacyProvider {
 public:
  LegacyProvider() : m_provider(OSSL_PROVIDER_try_load(nullptr, "legacy", 1)) {}
  ~LegacyProvider() {
    if (m_provider != nullptr) OSSL_PROVIDER_unload(m_provider);
  }
  LegacyProvider(const LegacyProvider&) = delete;
  LegacyProvider& operator=(const LegacyProvider&) = delete;

  bool IsLoaded() const { return m_provider != nullptr; }

 private:
  OSSL_PROVIDER* const m_provider;
};

void LoadCiphers() {
  static const LegacyProvider legacy;
  if (!legacy.IsLoaded()) throw std::runtime_error("OpenSSL's legacy provider cannot be loaded");
}

Secret Configuration(const std::string& folder) {
  return MakeSecret("directories.tokendir = " + folder +
                    "/stores\n"
                    "objectstore.backend = file\n"
                    "log.level = ERROR\n"
                    "slots.removable = false\n");
}

using Label = std::array<CK_UTF8CHAR, 32>;

Label LabelOf(const std::string& name) {
  Label label;
  label.fill(' ');
  std::copy_n(name.begin(), std::min(name.size(), label.size()), label.begin());
  return label;
}

// SoftHSM's interface asks for PINs that are not const, but does not change them.
CK_UTF8CHAR_PTR Writable(const Secret& key) { return const_cast<CK_UTF8CHAR_PTR>(key.data()); }

struct StoreSlot {
  CK_SLOT_ID slot;
  CK_FLAGS flags;
  Label label;
};

std::vector<StoreSlot> ListStores(CK_FUNCTION_LIST& functions) {
  CK_ULONG count = 0;
  Check(functions.C_GetSlotList(CK_TRUE, nullptr, &count));
  std::vector<CK_SLOT_ID> slots(count);
  Check(functions.C_GetSlotList(CK_TRUE, slots.data(), &count));
  slots.resize(count);
  std::vector<StoreSlot> stores;
  for (const CK_SLOT_ID slot : slots) {
    CK_TOKEN_INFO info = {};
    Check(functions.C_GetTokenInfo(slot, &info));
    StoreSlot store = {slot, info.flags, {}};
    std::copy_n(info.label, store.label.size(), store.label.begin());
    stores.push_back(store);
  }
  return stores;
}

// Returns false if the object does not have the attribute, or its value has another size.
bool ReadFixed(CK_FUNCTION_LIST& functions, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type,
               void* value, CK_ULONG size) {
  CK_ATTRIBUTE attribute = {type, value, size};
  return functions.C_GetAttributeValue(session, object, &attribute, 1) == CKR_OK && attribute.ulValueLen == size;
}

}  // namespace

SoftHsm::SoftHsm(const std::string& library) {
  LoadCiphers();
  void* const handle = ::dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) throw std::runtime_error(::dlerror());
  const auto getFunctionList = reinterpret_cast<CK_C_GetFunctionList>(::dlsym(handle, "C_GetFunctionList"));
  if (getFunctionList == nullptr || getFunctionList(&m_functions) != CKR_OK) {
    throw std::runtime_error(library + " is no PKCS#11 module");
  }
}

void SoftHsm::Start(const std::string& folder) {
  MakeFolder(folder + "/stores");
  m_configuration = folder + "/softhsm2.conf";
  const Secret configuration = Configuration(folder);
  if (ReadFile(m_configuration) != configuration) ReplaceFile(m_configuration, configuration);
  CK_RV result = Initialize();
  if (result == CKR_CRYPTOKI_ALREADY_INITIALIZED) {
    Stop();
    result = Initialize();
  }
  Check(result);
}

void SoftHsm::Restart() {
  Stop();
  Check(Initialize());
}

CK_RV SoftHsm::Initialize() const {
  const ScopedEnvironment environment("SOFTHSM2_CONF", m_configuration);
  CK_C_INITIALIZE_ARGS arguments = {};
  arguments.flags = CKF_OS_LOCKING_OK;
  return m_functions->C_Initialize(&arguments);
}

void SoftHsm::Stop() { m_functions->C_Finalize(nullptr); }

std::optional<CK_SLOT_ID> SoftHsm::FindStore(const std::string& name) const {
  for (const StoreSlot& store : ListStores(*m_functions)) {
    if (store.label == LabelOf(name) && (store.flags & CKF_USER_PIN_INITIALIZED) != 0) return store.slot;
  }
  return std::nullopt;
}

void SoftHsm::MakeStore(const std::string& name, const Secret& key) const {
  Label label = LabelOf(name);
  const std::vector<StoreSlot> stores = ListStores(*m_functions);
  auto store = std::find_if(stores.begin(), stores.end(), [&](const StoreSlot& row) {
    return (row.flags & CKF_TOKEN_INITIALIZED) != 0 && row.label == label;
  });
  if (store == stores.end()) {
    store = std::find_if(stores.begin(), stores.end(),
                         [](const StoreSlot& row) { return (row.flags & CKF_TOKEN_INITIALIZED) == 0; });
  }
  Require(store != stores.end(), CKR_GENERAL_ERROR);
  Check(m_functions->C_InitToken(store->slot, Writable(key), key.size(), label.data()));
  const ScopedSession session(*m_functions, store->slot);
  Check(m_functions->C_Login(session.Get(), CKU_SO, Writable(key), key.size()));
  Check(m_functions->C_InitPIN(session.Get(), Writable(key), key.size()));
}

CK_SESSION_HANDLE SoftHsm::OpenStore(CK_SLOT_ID slot, const Secret& key) const {
  CK_SESSION_HANDLE session = 0;
  Check(m_functions->C_OpenSession(slot, CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr, &session));
  const CK_RV result = m_functions->C_Login(session, CKU_USER, Writable(key), key.size());
  if (result != CKR_OK) m_functions->C_CloseSession(session);
  Check(result);
  return session;
}

std::optional<CK_ULONG> ReadNumber(CK_FUNCTION_LIST& functions, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object,
                                   CK_ATTRIBUTE_TYPE type) {
  CK_ULONG value = 0;
  if (!ReadFixed(functions, session, object, type, &value, sizeof value)) return std::nullopt;
  return value;
}

std::optional<bool> ReadFlag(CK_FUNCTION_LIST& functions, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object,
                             CK_ATTRIBUTE_TYPE type) {
  CK_BBOOL value = CK_FALSE;
  if (!ReadFixed(functions, session, object, type, &value, sizeof value)) return std::nullopt;
  return value != CK_FALSE;
}

std::optional<Secret> ReadBytes(CK_FUNCTION_LIST& functions, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object,
                                CK_ATTRIBUTE_TYPE type) {
  CK_ATTRIBUTE attribute = {type, nullptr, 0};
  if (functions.C_GetAttributeValue(session, object, &attribute, 1) != CKR_OK) return std::nullopt;
  Secret value(attribute.ulValueLen);
  attribute.pValue = value.data();
  if (!value.empty() && functions.C_GetAttributeValue(session, object, &attribute, 1) != CKR_OK) return std::nullopt;
  value.resize(attribute.ulValueLen);
  return value;
}

}  // namespace softtoken
