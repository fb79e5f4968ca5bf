// CCSPHash: the object of an HCRYPTHASH. It collects the whole message. When its value is wanted for the first time,
// the token digests the message in one piece. Then the hash is finished: it keeps its value, and more data has no
// effect.
//
// Every failure is a CCSPContextError, even that of the token. Lengths are in bytes. A null `out` asks for the length.
// Too small a `*length` raises ERROR_MORE_DATA and is not changed. Only one thread may use a hash at a time. A hash may
// live longer than its session (see Session.h), but then it computes nothing.
#pragma once

#include "common/Platform.h"

#include <boost/shared_ptr.hpp>
#include <memory>
#include <string>

#include "common/WipeMemory.h"
#include "cryptoki/Mechanism.h"
#include "objects/Algorithms.h"
#include "objects/PendingMessage.h"
#include "objects/SessionLink.h"

// What a new hash is made of.
struct HashSetup {
  const Algorithm* algorithm;
  const HashAlgorithm* hash;  // the same algorithm
  Session* session;
  DWORD id;
};

class CCSPHash {
 public:
  CCSPHash() = default;
  explicit CCSPHash(const HashSetup& setup);
  // Works like operator=. A copy has neither name nor digest length.
  CCSPHash(const CCSPHash& other);

  // In interface order: append, never reorder.

  // Copies everything, including the id and the value, except the name and the digest length.
  // NOLINTNEXTLINE(misc-unconventional-assign-operator): its place in the interface is the first
  virtual CCSPHash& operator=(const CCSPHash& other);
  virtual ~CCSPHash();
  // A null `data` or a length of 0 adds nothing.
  virtual void AddData(const BYTE* data, DWORD length);
  // Replaces the message with `data`.
  virtual void SetData(const BYTE* data, DWORD length);
  // Copies the message to `out`.
  virtual void GetData(BYTE* out, DWORD* length);
  // Stores the DigestInfo up to the digest. Bytes after the first 256 are cut off.
  virtual void SetOID(const BYTE* prefix, const DWORD* length);
  // Copies the value to `out`, and computes it first if necessary. Raises NTE_BAD_HASH_STATE without a message or
  // session. Raises NTE_BAD_HASH, "No Data to Hash", for a message whose length does not fit 32 bits. Raises NTE_FAIL
  // when the token fails, and sets the last error to the token's code. After a failure the hash has its message and is
  // not finished, so that the operation can be repeated.
  virtual void GetHash(BYTE* out, DWORD* length);
  // Stores a value that was computed elsewhere, and finishes the hash. Without `value` or with a length of 0 the hash
  // loses the value it had, and NTE_BAD_DATA is raised.
  virtual void SetHash(const BYTE* value, DWORD length);
  virtual const std::string* GetName() const;
  // Copies to `out` what RSA signs: the DigestInfo with the value. Raises NTE_BAD_HASH_STATE when the algorithm has no
  // DigestInfo.
  virtual void GetPreSignData(BYTE* out, DWORD* length);
  virtual DWORD IsFinished() const;
  virtual void SetFinished(DWORD finished);
  // Computes the value, unless the hash is finished.
  virtual void Finish();
  // Works like GetHash.
  virtual void Compute(BYTE* out, DWORD* length);
  // The number that applications get as HCRYPTHASH.
  virtual DWORD GetHashID() const;
  virtual ALG_ID GetAlgID() const;
  // The length of the algorithm's digests.
  virtual DWORD GetHashLength() const;

  // After the interface.

  // Null when there is none or it no longer exists.
  boost::shared_ptr<Session> GetSession() const { return m_session.Lock(); }

 protected:
  // The message as one array for the module. Null when it is empty, or its length does not fit into 32 bits.
  BYTE* WholeMessage(DWORD& length);
  bool HasMessage() const { return m_pending.Length() != 0; }
  // Stores the first `length` bytes as the value, and finishes the hash.
  void Keep(WipedBuffer value, DWORD length);
  // Does what GetHash does with a finished hash. The messages of its errors begin with `who`.
  void CopyValue(const char* who, BYTE* out, DWORD* length) const;

 private:
  void CopyFrom(const CCSPHash& other);
  void ComputeValue();
  void Digest(Session& session, BYTE* message, DWORD length);

  PendingMessage m_pending;
  DWORD m_finished = 0;
  BYTE m_prefix[sizeof(Algorithm::prefix)] = {};
  DWORD m_prefixLength = 0;
  ALG_ID m_algorithm = 0;
  DWORD m_id = 0;
  SessionLink m_session;
  std::unique_ptr<WipedBuffer> m_value;
  Mechanism m_mechanism;
  DWORD m_valueLength = 0;
  DWORD m_digestLength = 0;
  std::string m_name;
};
