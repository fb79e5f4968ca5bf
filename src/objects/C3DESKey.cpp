#include "objects/C3DESKey.h"

namespace {

constexpr DWORD kKeyLength = 24;

}  // namespace

C3DESKey::C3DESKey() : CDESKey(CALG_3DES, kKeyLength) {}
C3DESKey::~C3DESKey() = default;

void C3DESKey::SetMode(DWORD mode) { SetTripleMode(mode); }
