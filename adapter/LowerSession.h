// The adapter's session with the module, on one slot. All sessions of the provider on that slot share it.
#pragma once

#include <optional>
#include <vector>

#include "adapter/Module.h"
#include "adapter/Values.h"
#include "cryptoki/Pkcs11.h"
#include "pkcs11/Failure.h"
#include "pkcs11/Secret.h"

namespace adapter {

// IsRemoval tells whether a result of the module means that the token is not there any more, or is another one.
bool IsRemoval(CK_RV result);

// LowerSession opens and closes the session, and makes its calls. The destructor closes nothing: at the end of the
// process the module may no longer be there. A result that means removal ends the session: Failure CKR_DEVICE_REMOVED,
// and a new presence. The module's lengths and counts are never trusted beyond the memory that it was given.
class LowerSession {
 public:
  LowerSession(Module& module, CK_SLOT_ID slot) : m_module(module), m_slot(slot) {}
  LowerSession(const LowerSession&) = delete;
  LowerSession& operator=(const LowerSession&) = delete;

  // Open opens a read/write session, or one for reading if the token takes no other. Throws Failure.
  void Open();
  void Close();
  bool IsOpen() const { return m_handle.has_value(); }
  CK_SLOT_ID Slot() const { return m_slot; }

  // Gone is called when the token is known to be away: closes the session and begins a new presence.
  void Gone();
  // A number that changes whenever the token goes away.
  unsigned Presence() const { return m_presence; }

  // Call calls an entry whose first parameter is a session, and returns the module's result.
  template <auto Entry, typename... A>
  CK_RV Call(A... arguments) {
    pkcs11::Require(IsOpen(), CKR_DEVICE_REMOVED);
    return Judged(m_module.Call<Entry>(*m_handle, arguments...));
  }

  // Begin calls an entry that begins an operation. If the module still has an earlier operation, that one is dropped
  // first.
  template <auto Entry, typename... A>
  CK_RV Begin(A... arguments) {
    const CK_RV result = Call<Entry>(arguments...);
    if (result != CKR_OPERATION_ACTIVE) return result;
    Renew();
    return Call<Entry>(arguments...);
  }

  // Finish calls an entry that completes a begun operation in one call, and returns what it wrote into a buffer of
  // `room` bytes. Throws Failure: the module's result, or CKR_GENERAL_ERROR for an impossible length.
  template <auto Entry>
  pkcs11::Secret Finish(const pkcs11::Secret& data, std::size_t room) {
    pkcs11::Secret input = data, output(room);
    auto length = static_cast<CK_ULONG>(room);
    const CK_RV result = Call<Entry>(input.data(), static_cast<CK_ULONG>(input.size()), output.data(), &length);
    if (result == CKR_BUFFER_TOO_SMALL) Renew();  // the module still holds the operation
    pkcs11::Check(result == CKR_BUFFER_TOO_SMALL ? CKR_GENERAL_ERROR : result);
    pkcs11::Require(length <= room, CKR_GENERAL_ERROR);
    output.resize(length);
    return output;
  }

  // Renew replaces the session by a new one. The login stays, because the slot is never without a session.
  void Renew();

  // Find returns the objects with these attributes. Throws Failure.
  std::vector<CK_OBJECT_HANDLE> Find(std::vector<CK_ATTRIBUTE> wanted);

  // Read returns those of the attributes that the object has and shows. It is empty when there is no such object.
  Values Read(CK_OBJECT_HANDLE object, const std::vector<CK_ATTRIBUTE_TYPE>& types);

 private:
  CK_RV Judged(CK_RV result);
  CK_RV OpenWith(CK_FLAGS flags, CK_SESSION_HANDLE& handle);
  CK_SESSION_HANDLE OpenNew();
  std::vector<CK_ATTRIBUTE> AskLengths(CK_OBJECT_HANDLE object, const std::vector<CK_ATTRIBUTE_TYPE>& types);
  bool ReadTogether(CK_OBJECT_HANDLE object, std::vector<CK_ATTRIBUTE>& attributes, Values& values);
  void ReadOne(CK_OBJECT_HANDLE object, CK_ATTRIBUTE attribute, Values& values);

  Module& m_module;
  const CK_SLOT_ID m_slot;
  std::optional<CK_SESSION_HANDLE> m_handle;
  unsigned m_presence = 0;
};

}  // namespace adapter
