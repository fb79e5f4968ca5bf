// The headers of the two kinds of key blobs. All numbers of a blob are little-endian, including the modulus and the
// encrypted key. Only the encrypted key that ExportSessionKey writes is big-endian.
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
