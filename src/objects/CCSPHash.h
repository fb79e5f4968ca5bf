// CCSPHash: what stands behind an HCRYPTHASH. It collects the whole message, and the token digests it in one piece the
// first time that the value is wanted. From then on the hash is finished: the value stays, and more data has no effect.
//
// Failures are CCSPContextError, those of the token, too. Lengths count bytes. A null `out` asks for the length; a
// `*length` below it raises ERROR_MORE_DATA and stays as given. No operation is safe against another one on the same
// hash at the same time. A hash may outlive the context that made it: without its session it computes no more.
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
  const char* name;  // in the log
  DWORD digestLength;
  CK_MECHANISM_TYPE mechanism;
  Session* session;
  DWORD id;
};

class CCSPHash {
 public:
  CCSPHash() = default;
  explicit CCSPHash(const HashSetup& setup);
  // As operator=; a copy has neither name nor digest length.
  CCSPHash(const CCSPHash& other);

  // In interface order: append, never reorder.

  // Everything but the name and the digest length, the id included. The value is a copy.
  // NOLINTNEXTLINE(misc-unconventional-assign-operator): its place in the interface is the first
  virtual CCSPHash& operator=(const CCSPHash& other);
  virtual ~CCSPHash();
  // Null or a zero length adds nothing.
  virtual void AddData(const BYTE* data, DWORD length);
  // Puts `data` in the place of the message so far.
  virtual void SetData(const BYTE* data, DWORD length);
  // The message.
  virtual void GetData(BYTE* out, DWORD* length);
  // Stores the DigestInfo up to the digest. More than there is room for is cut.
  virtual void SetOID(const BYTE* prefix, const DWORD* length);
  // The value. NTE_BAD_HASH_STATE without a message or session; NTE_BAD_HASH, "No Data to Hash", for a message whose
  // length does not fit 32 bits; NTE_FAIL when the token fails, whose own code is then the last error. The hash stays
  // open with its message, and the operation can be repeated.
  virtual void GetHash(BYTE* out, DWORD* length);
  // Stores a value that was computed elsewhere, and finishes the hash. A null or empty one raises NTE_BAD_DATA and
  // leaves the hash without a value.
  virtual void SetHash(const BYTE* value, DWORD length);
  virtual const std::string* GetName() const;
  // What an RSA signature takes: the DigestInfo with the value. NTE_BAD_HASH_STATE when the algorithm has none.
  virtual void GetPreSignData(BYTE* out, DWORD* length);
  virtual DWORD IsFinished() const;
  virtual void SetFinished(DWORD finished);
  // Computes the value, if that is still to be done.
  virtual void Finish();
  // As GetHash.
  virtual void Compute(BYTE* out, DWORD* length);
  // The value handed out as HCRYPTHASH.
  virtual DWORD GetHashID() const;
  virtual ALG_ID GetAlgID() const;
  // The length of the algorithm's digests.
  virtual DWORD GetHashLength() const;

  // Behind the interface.

  // Null when there is none or it is gone.
  boost::shared_ptr<Session> GetSession() const { return m_session.Lock(); }

 protected:
  // The message as one array for the module, whose lengths have 32 bits. Null when it is empty or longer than that.
  BYTE* WholeMessage(DWORD& length);
  bool HasMessage() const { return m_pending.Length() != 0; }
  // Makes the first `length` bytes the value, and finishes the hash.
  void Keep(WipedBuffer value, DWORD length);
  // GetHash of a finished hash. The messages begin with `who`.
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
