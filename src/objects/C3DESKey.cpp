#include "objects/C3DESKey.h"

namespace {

constexpr DWORD kTripleDESKeyLength = 24;

}  // namespace

C3DESKey::C3DESKey() : CDESKey(CALG_3DES, kTripleDESKeyLength) {}
C3DESKey::~C3DESKey() = default;

void C3DESKey::SetMode(DWORD mode) { SetTripleMode(mode); }
