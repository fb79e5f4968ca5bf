// Session keys made of a hash.
#pragma once

#include "context/TELVOCSPContext.h"

// What CCSPContext::DeriveKey says.
boost::shared_ptr<CCSPSecretKey> DeriveSecretKey(TELVOCSPContext& context, CCSPHash& hash, ALG_ID algorithm,
                                                 DWORD length, CCSPSecretKeyFactory* factory);
