// The names of pkcs11/ that the software token uses as its own.
#pragma once

#include "pkcs11/Failure.h"
#include "pkcs11/Mechanisms.h"
#include "pkcs11/NativeTable.h"
#include "pkcs11/Secret.h"
#include "pkcs11/Templates.h"

namespace softtoken {

using pkcs11::AsksFor;
using pkcs11::Check;
using pkcs11::CheckMechanism;
using pkcs11::CheckParameter;
using pkcs11::CheckTemplate;
using pkcs11::Failure;
using pkcs11::FindParameter;
using pkcs11::IsForWholeData;
using pkcs11::MakeSecret;
using pkcs11::Making;
using pkcs11::NativeTable;
using pkcs11::NeedsRsaKey;
using pkcs11::NumberIn;
using pkcs11::Offered;
using pkcs11::Parameter;
using pkcs11::ParameterOf;
using pkcs11::Require;
using pkcs11::Secret;
using pkcs11::TemplateFor;
using pkcs11::TextOf;

}  // namespace softtoken
