// The road of one acquire: what the whole provider writes into the log and calls in the module, from
// CryptAcquireContext to the open context. One card is in, with a certificate and its key pair. Object 1 is the
// certificate, 2 the public key, 3 the private key.
#include <array>
#include <gtest/gtest.h>

#include "LogLines.h"
#include "RoadTest.h"

namespace {

// What every object says of itself in a search, and what each class adds.
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
    // The module is started, and told its slots.
    "C_Initialize(null)",
    "C_GetSlotList(with token, null)",
    "C_GetSlotList(with token, room 1)",
    "C_GetSlotInfo(0)",
    // The slot's token gets a session, and all its objects are listed.
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
    // The certificates once more, now to be tied to their keys.
    Read(1, kOfCertificate),
    Read(1, "CKA_VALUE?"),
    Read(1, "CKA_VALUE[2]"),
    // The token's record.
    "C_GetTokenInfo(0)",
};

// The lines of a list of certificates that are read without their keys.
std::string BareCertificates() {
  return LogLine("GetCertificates - Entry") + LogLine("GetCertificates - iteration begins") +
         LogValue("Iteration: ", "1") + LogLine("GetCertificates - Enter") +
         LogLine("GetCertificates - Get bare info") + LogValue("Iteration: ", "2") +
         LogValue("Object is not certificate. Object class: ", "2") + LogValue("Iteration: ", "3") +
         LogValue("Object is not certificate. Object class: ", "3") + LogLine("GetCertificates - Exit");
}

std::string LinkedKey() {
  return LogLine("Trying to get ID length") + LogLine("Trying to get ID") +
         LogLine("Trying to find matching ID from certificate list") + LogLine("Object found. Certificate exists") +
         LogLine("Cert does not exist");
}

std::string Keys() {
  return BareCertificates() + LogLine("GetPrivateKeys::Iterating through objects") + LogValue("Iteration: ", "1") +
         LogValue("Iteration: ", "2") + LogValue("Iteration: ", "3") + LinkedKey() +

         BareCertificates() + LogLine("GetPrivateKeys::Iterating through objects") + LogValue("Iteration: ", "1") +
         LogValue("Iteration: ", "2") + LinkedKey() + LogValue("Iteration: ", "3");
}

std::string Modulus() {
  const std::string start = LogLine("GetModulus - Entry") + LogLine("GetModulus - Check attrList.size()") +
                            LogLine("GetModulus - Iterating through attribute list") +
                            LogLine("GetModulus - ATTR_MODULUS Found");
  return LogLine("GetCertificates - Getting private key modulus length") + start +
         LogLine("GetModulus - pModulus is NULL, returning ulModulusLen") + LogLine("GetModulus - Exit") +
         LogLine("GetCertificates - Getting private key modulus") + start +
         LogLine("GetModulus - Trying to get Modulus") + LogLine("GetModulus - Copying modulus") +
         LogLine("GetModulus - Exit: pModulus retrieved");
}

std::string LinkedCertificates() {
  return LogLine("GetCertificates - Entry") + Keys() + LogLine("GetCertificates - iteration begins") +
         LogValue("Iteration: ", "1") + LogLine("GetCertificates - Enter") +
         LogLine("GetCertificates - Get bare info") + LogLine("GetCertificates - Getting certificate ID length") +
         LogLine("GetCertificates - Getting certificate ID length") +
         LogLine("GetCertificates - Trying to find matching private key") +
         LogLine("\nPrivate key exist for this Certificate") + Modulus() +
         LogLine("GetCertificates - Trying to find matching public key") +
         LogLine("\nPublic key exist for this Certificate") + LogValue("Iteration: ", "2") +
         LogValue("Object is not certificate. Object class: ", "2") + LogValue("Iteration: ", "3") +
         LogValue("Object is not certificate. Object class: ", "3") + LogLine("GetCertificates - Exit");
}

// What comes before the walk through the slots.
std::string Beginning(const std::string& container) {
  std::array<char, MAX_PATH> program = {};
  GetModuleFileNameA(nullptr, program.data(), static_cast<DWORD>(program.size()));
  return LogValue("\tNOTE: Using module: ", program.data()) +
         LogValue("\tNOTE: Process Id: ", std::to_string(GetCurrentProcessId())) +
         LogLine("\n================================================================================") +
         LogLine("\nCPAcquireContext") + LogValue("\tContainer Name: ", container) +
         LogValue("\tdwFlags: \t", "00000000") + LogLine("\nRetrieving Crypto Wrapper") +
         LogLine("\nInitializing Context") + LogLine("\nInitialize Base Class") + LogLine("\nGet Active Slot List") +
         LogValue("\nSlots Found: ", "1");
}

std::string End() {
  return LogLine("\nSlot List Loop done") + LogValue("Token Label: ", "TELVO Token                     ") +
         LogLine("\nAddUnplugThread ") + LogLine("\nInitialization Finished") + LogLine("\nCPAcquireContext Success");
}

TEST_F(RoadTest, OfOneAcquireByReaderAndContainer) {
  HCRYPTPROV context = 0;
  ASSERT_TRUE(CryptAcquireContextA(&context, kContainer, kProviderName, PROV_RSA_FULL, 0));
  EXPECT_EQ(Beginning(kContainer) + LogLine("\nIterating thru Readers") + LogLine("TELVO Reader A") +
                LogLine("Reader Name found") + LogLine("Retrieving Session") + LogLine("\nRetrieving Token") +
                LogLine("\nOpening Session") + LogLine("\nRetrieving Objects") + LogLine("\nObjects Retrieved") +
                LogLine("\nRetrieving Certificates") + LinkedCertificates() + LogLine("Retrieving Certificate") +
                LogLine("\nChecking the Cert iterator") + LogLine("GetCert() - Container name found, Exit") +
                LogLine("Retrieving Public Key") + LogLine("Retrieving Private Key") + End(),
            m_provider.TakeLog());
  EXPECT_EQ(kCalls, m_module.TakeCalls());
  CryptReleaseContext(context, 0);
  EXPECT_EQ(Calls{"C_CloseSession(1)"}, m_module.TakeCalls());
}

// Without a reader's name the log has other words. The module is asked the same.
TEST_F(RoadTest, OfOneAcquireByContainer) {
  HCRYPTPROV context = 0;
  ASSERT_TRUE(CryptAcquireContextA(&context, "one", kProviderName, PROV_RSA_FULL, 0));
  EXPECT_EQ(Beginning("one") + LogLine("\nIterating thru Readers") + LogLine("TELVO Reader A") +
                LogLine("\nNo Reader name Provided") + LogLine("\nRetrieving Token") + LogLine("\nStarting Session") +
                LogLine("\nRetrieving objects") + LogLine("\nGetting Certs") + LinkedCertificates() +
                LogLine("\nGetting Default Certificate") + LogLine("\nChecking the Cert iterator") +
                LogLine("GetCert() - Container name found, Exit") + LogLine("\nGetting Default Public Key") +
                LogLine("\nGetting Default Private Key") + End(),
            m_provider.TakeLog());
  EXPECT_EQ(kCalls, m_module.TakeCalls());
  CryptReleaseContext(context, 0);
}

// Without any name the default certificate is looked for, before the token's record is read.
TEST_F(RoadTest, OfOneAcquireWithoutAName) {
  HCRYPTPROV context = 0;
  ASSERT_TRUE(CryptAcquireContextA(&context, nullptr, kProviderName, PROV_RSA_FULL, 0));
  Calls expected(kCalls.begin(), kCalls.end() - 1);
  expected.insert(expected.end(), {Read(1, "CKA_DEFAULT_CERT?"), Read(1, "CKA_DEFAULT_CERT[1]"), "C_GetTokenInfo(0)"});
  EXPECT_EQ(expected, m_module.TakeCalls());
  CryptReleaseContext(context, 0);
}

}  // namespace
