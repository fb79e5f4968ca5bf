// Attributes that the card answers and SoftHSM does not have: CKA_DEFAULT_CERT, CKA_ENCRYPT and CKA_VERIFY of a
// certificate, and CKA_MODULUS_BITS of a private key.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "cryptoki/Pkcs11.h"

namespace softtoken {

// MayBeVirtual tells whether an attribute is virtual on some class of objects. It is a quick test, so that most
// templates are passed on without a look at the object.
bool MayBeVirtual(CK_ATTRIBUTE_TYPE type);
bool MayBeVirtual(const CK_ATTRIBUTE* attributes, CK_ULONG count);

// VirtualAttributes has the virtual attributes of the objects that one SoftHSM session sees.
class VirtualAttributes {
 public:
  VirtualAttributes(CK_FUNCTION_LIST& functions, CK_SESSION_HANDLE session, const std::string& defaultCertificate)
      : m_functions(functions), m_session(session), m_defaultCertificate(defaultCertificate) {}

  // IsOn tells whether an attribute of an object of this class is virtual.
  static bool IsOn(CK_OBJECT_CLASS objectClass, CK_ATTRIBUTE_TYPE type);

  // Get is C_GetAttributeValue for virtual and real attributes in any order.
  CK_RV Get(CK_OBJECT_HANDLE object, CK_ATTRIBUTE* attributes, CK_ULONG count) const;

  // Matches tells whether the virtual attributes of a search template have these values on the object.
  bool Matches(CK_OBJECT_HANDLE object, const std::vector<CK_ATTRIBUTE>& wanted) const;

 private:
  struct Value {
    std::array<unsigned char, sizeof(CK_ULONG)> bytes = {};
    std::size_t size = 0;
  };

  CK_RV ReadClass(CK_OBJECT_HANDLE object, CK_OBJECT_CLASS& objectClass) const;
  std::optional<Value> Read(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type) const;
  CK_RV Answer(CK_OBJECT_HANDLE object, CK_ATTRIBUTE& attribute) const;
  bool IsDefaultCertificate(CK_OBJECT_HANDLE object) const;

  CK_FUNCTION_LIST& m_functions;
  const CK_SESSION_HANDLE m_session;
  const std::string& m_defaultCertificate;
};

}  // namespace softtoken
