// The two kinds of key blobs, up to where their bytes begin. All numbers of a blob are little-endian, the modulus and
// the encrypted key among them, but for the encrypted key that ExportSessionKey writes.
#pragma once

#include "common/Platform.h"

// PUBLICKEYBLOB. The modulus follows.
struct PublicKeyBlobHeader {
  BLOBHEADER blob;
  RSAPUBKEY key;
};

// SIMPLEBLOB. The encrypted session key follows.
struct SimpleBlobHeader {
  BLOBHEADER blob;
  ALG_ID encryptingAlgorithm;
};

static_assert(sizeof(PublicKeyBlobHeader) == 20 && sizeof(SimpleBlobHeader) == 12, "the blobs have no gaps");

constexpr DWORD kRSAMagic = 0x31415352;  // "RSA1"
