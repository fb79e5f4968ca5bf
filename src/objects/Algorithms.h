// The provider's algorithms. There are two tables in Algorithms.cpp, and the compiler checks that they agree: the
// algorithms as CryptoAPI enumerates them, and what else the provider knows about those that are hashes.
#pragma once

#include "common/Platform.h"

#include <list>

#include "cryptoki/Pkcs11.h"

// An algorithm as the provider enumerates it.
struct Algorithm {
  ALG_ID id;
  DWORD defaultBits;
  char name[20];
  DWORD nameLength;  // with the terminating zero
  char longName[40];
  DWORD longNameLength;  // with the terminating zero
  DWORD minBits;
  DWORD maxBits;
  BYTE prefix[256];  // hashes: the DER encoded DigestInfo up to the digest (RFC 8017, section 9.2, note 1)
  DWORD prefixLength;
};

struct HashAlgorithm {
  ALG_ID id;
  const char* name;  // in the log
  CK_MECHANISM_TYPE mechanism;
};

// All algorithms in the order of their enumeration.
std::list<Algorithm> AllAlgorithms();

// FindAlgorithm returns an algorithm, or null when the provider does not have it.
const Algorithm* FindAlgorithm(ALG_ID id);

// FindHashAlgorithm returns a hash, or null for an algorithm that is not one. FindAlgorithm has each hash, too; its
// `defaultBits` is the length of the digests.
const HashAlgorithm* FindHashAlgorithm(ALG_ID id);
