#include "objects/C3DES_112Key.h"

namespace {

constexpr DWORD kTwoKeyTripleDESKeyLength = 16;

}  // namespace

C3DES_112Key::C3DES_112Key() : CDESKey(CALG_3DES_112, kTwoKeyTripleDESKeyLength) {}
C3DES_112Key::~C3DES_112Key() = default;

void C3DES_112Key::SetMode(DWORD mode) { SetTripleMode(mode); }
