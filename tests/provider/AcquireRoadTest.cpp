// One acquire from CryptAcquireContext to the open context: everything that the whole provider logs and every
// call of the module. One card is in, with a certificate and its key pair. Object 1 is the certificate, object
// 2 the public key, object 3 the private key.
#include <array>
#include <gtest/gtest.h>

#include "RoadTest.h"
#include "fixtures/LogLines.h"

namespace {

// The attributes that a search reads of every object, and those that are read of each class.
constexpr char kCommon[] = "CKA_CLASS[number], CKA_MODIFIABLE[1], CKA_PRIVATE[1], CKA_TOKEN[1]";
constexpr char kOfCertificate[] = "CKA_ENCRYPT[1], CKA_VERIFY[1], CKA_CERTIFICATE_TYPE[number]";
constexpr char kOfPublicKey[] =
    "CKA_KEY_TYPE[number], CKA_WRAP[1], CKA_ENCRYPT[1], CKA_VERIFY[1], CKA_VERIFY_RECOVER[1], CKA_LOCAL[1], "
    "CKA_MODULUS_BITS[number], CKA_KEY_GEN_MECHANISM[number]";
constexpr char kOfPrivateKey[] =
    "CKA_KEY_TYPE[number], CKA_UNWRAP[1], CKA_DECRYPT[1], CKA_SIGN[1], CKA_SIGN_RECOVER[1], CKA_ALWAYS_SENSITIVE[1], "
    "CKA_NEVER_EXTRACTABLE[1], CKA_LOCAL[1], CKA_MODULUS_BITS[number], CKA_KEY_GEN_MECHANISM[number], "
    "CKA_SENSITIVE[1], CKA_EXTRACTABLE[1]";

// One call that reads attributes of an object.
std::string Read(int object, const char* attributes) {
  return "C_GetAttributeValue(1, " + std::to_string(object) + ", {" + attributes + "})";
}

const Calls kCalls = {
    // The module is started, and its slots are listed.
    "C_Initialize(null)",
    "C_GetSlotList(with token, null)",
    "C_GetSlotList(with token, room 1)",
    "C_GetSlotInfo(0)",
    // A session is opened on the slot's token, and all its objects are listed.
    "C_OpenSession(0, flags 6)",
    "C_FindObjectsInit(1, null of 0)",
    "C_FindObjects(1, 1)",
    Read(1, kCommon),
    Read(1, "CKA_ID?, CKA_LABEL?"),
    Read(1, "CKA_ID[3], CKA_LABEL[5]"),
    "C_FindObjects(1, 1)",
    Read(2, kCommon),
    Read(2, "CKA_ID?, CKA_LABEL?"),
    Read(2, "CKA_ID[3], CKA_LABEL[5]"),
    "C_FindObjects(1, 1)",
    Read(3, kCommon),
    Read(3, "CKA_ID?, CKA_LABEL?"),
    Read(3, "CKA_ID[3], CKA_LABEL[5]"),
    "C_FindObjects(1, 1)",
    "C_FindObjectsFinal(1)",
    // The private keys, for which the certificates are read first. Each key is read twice.
    Read(1, kOfCertificate),
    Read(1, "CKA_VALUE?"),
    Read(1, "CKA_VALUE[2]"),
    Read(3, kOfPrivateKey),
    Read(3, "CKA_MODULUS?, CKA_PUBLIC_EXPONENT?, CKA_ID?"),
    Read(3, "CKA_MODULUS[128], CKA_PUBLIC_EXPONENT[3], CKA_ID[3]"),
    Read(3, kOfPrivateKey),
    Read(3, "CKA_MODULUS?, CKA_PUBLIC_EXPONENT?, CKA_ID?"),
    Read(3, "CKA_MODULUS[128], CKA_PUBLIC_EXPONENT[3], CKA_ID[3]"),
    // The public keys, in the same way.
    Read(1, kOfCertificate),
    Read(1, "CKA_VALUE?"),
    Read(1, "CKA_VALUE[2]"),
    Read(2, kOfPublicKey),
    Read(2, "CKA_MODULUS?, CKA_PUBLIC_EXPONENT?, CKA_ID?"),
    Read(2, "CKA_MODULUS[128], CKA_PUBLIC_EXPONENT[3], CKA_ID[3]"),
    Read(2, kOfPublicKey),
    Read(2, "CKA_MODULUS?, CKA_PUBLIC_EXPONENT?, CKA_ID?"),
    Read(2, "CKA_MODULUS[128], CKA_PUBLIC_EXPONENT[3], CKA_ID[3]"),
    // The certificates once more, now to link them to their keys.
    Read(1, kOfCertificate),
    Read(1, "CKA_VALUE?"),
    Read(1, "CKA_VALUE[2]"),
    // The token's information.
    "C_GetTokenInfo(0)",
};

// The lines for certificates that are read without their keys.
std::string BareCertificates() {
  return Line("GetCertificates - Entry") + Line("GetCertificates - iteration begins") + Value("Iteration: ", "1") +
         Line("GetCertificates - Enter") + Line("GetCertificates - Get bare info") + Value("Iteration: ", "2") +
         Value("Object is not certificate. Object class: ", "2") + Value("Iteration: ", "3") +
         Value("Object is not certificate. Object class: ", "3") + Line("GetCertificates - Exit");
}

std::string LinkedKey() {
  return Line("Trying to get ID length") + Line("Trying to get ID") +
         Line("Trying to find matching ID from certificate list") + Line("Object found. Certificate exists") +
         Line("Cert does not exist");
}

std::string Keys() {
  return BareCertificates() + Line("GetPrivateKeys::Iterating through objects") + Value("Iteration: ", "1") +
         Value("Iteration: ", "2") + Value("Iteration: ", "3") + LinkedKey() +

         BareCertificates() + Line("GetPrivateKeys::Iterating through objects") + Value("Iteration: ", "1") +
         Value("Iteration: ", "2") + LinkedKey() + Value("Iteration: ", "3");
}

std::string Modulus() {
  const std::string start = Line("GetModulus - Entry") + Line("GetModulus - Check attrList.size()") +
                            Line("GetModulus - Iterating through attribute list") +
                            Line("GetModulus - ATTR_MODULUS Found");
  return Line("GetCertificates - Getting private key modulus length") + start +
         Line("GetModulus - pModulus is NULL, returning ulModulusLen") + Line("GetModulus - Exit") +
         Line("GetCertificates - Getting private key modulus") + start + Line("GetModulus - Trying to get Modulus") +
         Line("GetModulus - Copying modulus") + Line("GetModulus - Exit: pModulus retrieved");
}

std::string LinkedCertificates() {
  return Line("GetCertificates - Entry") + Keys() + Line("GetCertificates - iteration begins") +
         Value("Iteration: ", "1") + Line("GetCertificates - Enter") + Line("GetCertificates - Get bare info") +
         Line("GetCertificates - Getting certificate ID length") +
         Line("GetCertificates - Getting certificate ID length") +
         Line("GetCertificates - Trying to find matching private key") +
         Line("\nPrivate key exist for this Certificate") + Modulus() +
         Line("GetCertificates - Trying to find matching public key") +
         Line("\nPublic key exist for this Certificate") + Value("Iteration: ", "2") +
         Value("Object is not certificate. Object class: ", "2") + Value("Iteration: ", "3") +
         Value("Object is not certificate. Object class: ", "3") + Line("GetCertificates - Exit");
}

// The lines before the walk through the slots.
std::string Beginning(const std::string& container) {
  std::array<char, MAX_PATH> program = {};
  GetModuleFileNameA(nullptr, program.data(), static_cast<DWORD>(program.size()));
  return Value("\tNOTE: Using module: ", program.data()) +
         Value("\tNOTE: Process Id: ", std::to_string(GetCurrentProcessId())) +
         Line("\n================================================================================") +
         Line("\nCPAcquireContext") + Value("\tContainer Name: ", container) + Value("\tdwFlags: \t", "00000000") +
         Line("\nRetrieving Crypto Wrapper") + Line("\nInitializing Context") + Line("\nInitialize Base Class") +
         Line("\nGet Active Slot List") + Value("\nSlots Found: ", "1");
}

std::string End() {
  return Line("\nSlot List Loop done") + Value("Token Label: ", "TELVO Token                     ") +
         Line("\nAddUnplugThread ") + Line("\nInitialization Finished") + Line("\nCPAcquireContext Success");
}

TEST_F(RoadTest, OneAcquireByReaderAndContainer) {
  HCRYPTPROV context = 0;
  ASSERT_TRUE(CryptAcquireContextA(&context, kContainer, kProviderName, PROV_RSA_FULL, 0));
  EXPECT_EQ(Beginning(kContainer) + Line("\nIterating thru Readers") + Line("TELVO Reader A") +
                Line("Reader Name found") + Line("Retrieving Session") + Line("\nRetrieving Token") +
                Line("\nOpening Session") + Line("\nRetrieving Objects") + Line("\nObjects Retrieved") +
                Line("\nRetrieving Certificates") + LinkedCertificates() + Line("Retrieving Certificate") +
                Line("\nChecking the Cert iterator") + Line("GetCert() - Container name found, Exit") +
                Line("Retrieving Public Key") + Line("Retrieving Private Key") + End(),
            m_provider.TakeLog());
  EXPECT_EQ(kCalls, m_module.TakeCalls());
  CryptReleaseContext(context, 0);
  EXPECT_EQ(Calls{"C_CloseSession(1)"}, m_module.TakeCalls());
}

// Without a reader's name the log lines differ. The calls of the module are the same.
TEST_F(RoadTest, OneAcquireByContainer) {
  HCRYPTPROV context = 0;
  ASSERT_TRUE(CryptAcquireContextA(&context, "one", kProviderName, PROV_RSA_FULL, 0));
  EXPECT_EQ(Beginning("one") + Line("\nIterating thru Readers") + Line("TELVO Reader A") +
                Line("\nNo Reader name Provided") + Line("\nRetrieving Token") + Line("\nStarting Session") +
                Line("\nRetrieving objects") + Line("\nGetting Certs") + LinkedCertificates() +
                Line("\nGetting Default Certificate") + Line("\nChecking the Cert iterator") +
                Line("GetCert() - Container name found, Exit") + Line("\nGetting Default Public Key") +
                Line("\nGetting Default Private Key") + End(),
            m_provider.TakeLog());
  EXPECT_EQ(kCalls, m_module.TakeCalls());
  CryptReleaseContext(context, 0);
}

// Without any name the default certificate is looked for before the token's information is read.
TEST_F(RoadTest, OneAcquireWithoutAName) {
  HCRYPTPROV context = 0;
  ASSERT_TRUE(CryptAcquireContextA(&context, nullptr, kProviderName, PROV_RSA_FULL, 0));
  Calls expected(kCalls.begin(), kCalls.end() - 1);
  expected.insert(expected.end(), {Read(1, "CKA_DEFAULT_CERT?"), Read(1, "CKA_DEFAULT_CERT[1]"), "C_GetTokenInfo(0)"});
  EXPECT_EQ(expected, m_module.TakeCalls());
  CryptReleaseContext(context, 0);
}

}  // namespace
