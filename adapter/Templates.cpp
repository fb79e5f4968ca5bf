#include "adapter/Templates.h"

#include <algorithm>

namespace adapter {
namespace {

// The provider never signs or verifies with recovery, and never derives keys on the token.
constexpr CK_ATTRIBUTE_TYPE kNotNeeded[] = {CKA_VERIFY_RECOVER, CKA_SIGN_RECOVER, CKA_DERIVE};

}  // namespace

std::vector<CK_ATTRIBUTE> TemplateForModule(pkcs11::Making making, CK_OBJECT_CLASS objectClass,
                                            const CK_ATTRIBUTE* attributes, CK_ULONG count) {
  std::vector<CK_ATTRIBUTE> taken = pkcs11::TemplateFor(making, objectClass, attributes, count);
  const auto isNotNeeded = [](const CK_ATTRIBUTE& attribute) {
    return std::find(std::begin(kNotNeeded), std::end(kNotNeeded), attribute.type) != std::end(kNotNeeded);
  };
  taken.erase(std::remove_if(taken.begin(), taken.end(), isNotNeeded), taken.end());
  return taken;
}

}  // namespace adapter
