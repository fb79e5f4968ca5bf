#include "Settings.h"
#include "SharedNames.h"
#include "SoftToken.h"
#include "pkcs11/FunctionTable.h"

namespace softtoken {

std::unique_ptr<SoftToken> SoftToken::Make() { return std::make_unique<SoftToken>(LoadSettings()); }

}  // namespace softtoken

ExtendedFunctionList& pkcs11::NativeTable() { return FunctionTable<softtoken::SoftToken>::Get(); }
