// Session keys made from a hash.
#pragma once

#include "context/TELVOCSPContext.h"

// See CCSPContext::DeriveKey.
boost::shared_ptr<CCSPSecretKey> DeriveSecretKey(TELVOCSPContext& context, CCSPHash& hash, ALG_ID algorithm,
                                                 DWORD length, CCSPSecretKeyFactory* factory);
