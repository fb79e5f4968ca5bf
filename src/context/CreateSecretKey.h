// Session keys on the token.
#pragma once

#include "context/TELVOCSPContext.h"

// Makes a key object of `length` bytes in the context's session, and the session key for it, which `factory` keeps. The
// key may be exported; the context does not have it yet. NTE_BAD_ALGID for an algorithm that no session key has,
// NTE_FAIL without a session, CryptokiError.
//
// A LoginLock of the caller is released while the key waits for its id.
boost::shared_ptr<CCSPSecretKey> CreateSecretKey(TELVOCSPContext& context, const BYTE* keyBytes, DWORD length,
                                                 ALG_ID algorithm, CCSPSecretKeyFactory* factory);
