// The objects of a container: those whose CKA_ID the container's name stands for.
//
// An empty name stands for the first object of its kind, or for the default certificate, and is filled with its
// container's name. CCSPContextError NTE_BAD_KEYSET when there is none; CryptokiError when an object cannot be read.
#pragma once

#include <list>
#include <string>

#include "cryptoki/Certificate.h"
#include "cryptoki/CryptokiObjects.h"
#include "cryptoki/PrivateKey.h"
#include "cryptoki/PublicKey.h"

Certificate GetCert(std::list<Certificate>& certificates, std::string& containerName);
PublicKey GetPublicKey(CryptokiObjects& objects, std::string& containerName);
PrivateKey GetPrivateKey(CryptokiObjects& objects, std::string& containerName);
