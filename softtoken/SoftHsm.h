// SoftHSM2, which keeps the objects and does the cryptography.
#pragma once

#include <optional>
#include <string>

#include "SharedNames.h"
#include "cryptoki/Pkcs11.h"

namespace softtoken {

// SoftHsm is the loaded library. There may be one instance at a time. Its destructor closes nothing: at the end of the
// process SoftHSM's own static objects are destroyed before this one.
class SoftHsm {
 public:
  // Loads the library, which then stays loaded, and OpenSSL's legacy provider, which it needs for single DES. Throws
  // std::runtime_error.
  explicit SoftHsm(const std::string& library);

  // Start initialises the library with the stores below `folder`, and makes the folder if it is missing. It restarts a
  // library that is running already: an earlier load of this module started it, and has lost its handles. Throws
  // Failure, and std::system_error if the folder cannot be made.
  void Start(const std::string& folder);
  void Restart();
  void Stop();

  CK_FUNCTION_LIST& Functions() const { return *m_functions; }

  // FindStore returns the slot of the store with this name; no value if there is none or it is incomplete.
  std::optional<CK_SLOT_ID> FindStore(const std::string& name) const;

  // MakeStore makes a store of that name, which `key` opens. It replaces one that an earlier process left incomplete.
  // The store can be used after Restart. Throws Failure.
  void MakeStore(const std::string& name, const Secret& key) const;

  // OpenStore opens a session that is logged in, so that all objects of the store are visible. Throws Failure.
  CK_SESSION_HANDLE OpenStore(CK_SLOT_ID slot, const Secret& key) const;

 private:
  CK_RV Initialize() const;

  CK_FUNCTION_LIST* m_functions = nullptr;
  std::string m_configuration;
};

// ReadNumber and ReadFlag read one attribute of an object; no value if the object does not have it.
std::optional<CK_ULONG> ReadNumber(CK_FUNCTION_LIST& functions, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object,
                                   CK_ATTRIBUTE_TYPE type);
std::optional<bool> ReadFlag(CK_FUNCTION_LIST& functions, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object,
                             CK_ATTRIBUTE_TYPE type);

// ReadBytes reads one attribute of any length; no value if the object does not have it.
std::optional<Secret> ReadBytes(CK_FUNCTION_LIST& functions, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object,
                                CK_ATTRIBUTE_TYPE type);

}  // namespace softtoken
