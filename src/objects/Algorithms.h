// The provider's algorithms, as it enumerates them.
#pragma once

#include "common/Platform.h"

#include <list>

struct Algorithm {
  ALG_ID id;
  DWORD defaultBits;
  char name[20];
  DWORD nameLength;  // its terminating zero included
  char longName[40];
  DWORD longNameLength;  // its terminating zero included
  DWORD minBits;
  DWORD maxBits;
  BYTE prefix[256];  // hashes: the DER encoded DigestInfo up to the digest (RFC 8017, section 9.2, note 1)
  DWORD prefixLength;
};

// All rows in the order of their enumeration.
std::list<Algorithm> AllAlgorithms();

// The row of an algorithm; null when the provider does not have it.
const Algorithm* FindAlgorithm(ALG_ID id);
