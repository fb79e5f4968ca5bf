// The CKA_ID of a token's object, and the container that it names.
#pragma once

#include "common/Platform.h"

#include <string>
#include <vector>

#include "cryptoki/CryptokiObject.h"

// The identifier, asked for its length first. Errors are those of GetID.
std::vector<BYTE> ReadID(CryptokiObject& object);

// The container name that the identifier stands for.
std::string ContainerNameOf(CryptokiObject& object);
