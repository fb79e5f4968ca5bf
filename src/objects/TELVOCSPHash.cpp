#include "objects/TELVOCSPHash.h"

TELVOCSPHash::~TELVOCSPHash() = default;
