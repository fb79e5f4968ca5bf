#include "objects/C3DES_112Key.h"

namespace {

constexpr DWORD kKeyLength = 16;

}  // namespace

C3DES_112Key::C3DES_112Key() : CDESKey(CALG_3DES_112, kKeyLength) {}
C3DES_112Key::~C3DES_112Key() = default;

void C3DES_112Key::SetMode(DWORD mode) { SetTripleMode(mode); }
