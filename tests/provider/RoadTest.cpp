// One signature through the system's CryptoAPI, from creating the hash to destroying it: everything that the whole
// provider logs and every call of the module. The scripted module has the name of the token family's module.
#include "RoadTest.h"

#include <gtest/gtest.h>

#include "common/FormatNumber.h"
#include "fixtures/LogLines.h"

namespace {

constexpr char kSerial[] = "01 23 45 67 89 AB CD EF";

std::string Frame(const std::string& function) {
  return Line("\n================================================================================") +
         Line("\n" + function);
}

// The part of a pointer that the log shows.
std::string Low32(const void* pointer) {
  return FormatNumber("%08X", static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(pointer)));
}

TEST_F(RoadTest, OneSignature) {
  HCRYPTPROV context = 0;
  ASSERT_TRUE(CryptAcquireContextA(&context, kContainer, kProviderName, PROV_RSA_FULL, 0));
  const BYTE pin[] = "1234";
  ASSERT_TRUE(CryptSetProvParam(context, PP_KEYEXCHANGE_PIN, pin, 0));
  m_module.ForgetCalls();
  m_provider.TakeLog();

  HCRYPTHASH hash = 0;
  ASSERT_TRUE(CryptCreateHash(context, CALG_SHA1, 0, 0, &hash));
  const BYTE message[] = {'a', 'b', 'c'};
  ASSERT_TRUE(CryptHashData(hash, message, sizeof(message), 0));
  BYTE signature[128] = {};
  DWORD length = sizeof(signature);
  ASSERT_TRUE(CryptSignHashA(hash, AT_KEYEXCHANGE, nullptr, 0, signature, &length));
  ASSERT_TRUE(CryptDestroyHash(hash));
  const std::string log = m_provider.TakeLog();
  // The provider's own handle of the hash, which the system does not reveal.
  const std::string handleLabel = "\thHash: \t ";
  const std::string handle = log.substr(log.find(handleLabel) + handleLabel.size(), 8);
  EXPECT_EQ(
      Frame("CPCreateHash") + Value("\tALGID: \t", "00008004") + Value("\tdwFlags: ", "00000000") +
          Line("Retrieving context.") + Line("Retrieving session.") + Line("Get hash instance") + Line("Get hash ID.") +
          Line("Add hash.") + Value("\thHash: \t", handle) + Line("\nRequesting for Hash: ") + Line("SHA-1") +
          Line("\nCPCreateHash Success") +

          Frame("CPHashData") + Value("\tpbData:    ", Low32(message)) + Value("\tdwFlags:   ", "00000000") +
          Value("\tcbDataLen: ", "00000003") + Line("\nCPHashData Success") +

          Frame("CPSignHash") + Value("\tdwKeySpec: \t", "00000001") + Value("\tszDescription: \t", "00000000") +
          Value("\tdwFlags: \t", "00000000") + Value("\tpbSignature: \t", Low32(signature)) +
          Value("\tpcbSigLen: \t", "00000080") +
          "Data to be hashed: 61 62 63 \n"
          "Hash result: 00 00 00 03 61 62 63 00 00 00 00 00 00 00 00 00 00 00 00 00 \n" +
          Line("\nRetrieving Raw Hash Data and OID") + Value("\nHash Length ", "23") +
          "Hash Value 30 21 30 09 06 05 2B 0E 03 02 1A 05 00 04 14 00 00 00 03 61 62 63 00 00 00 00 00 00 00 00 00 "
          "00 00 00 00 \n" +
          Line("\nInitializing PIN cache") + Value("cardSerial:\t", kSerial) +
          Value("strReaderName:\t", "TELVO Reader A") + Line("Retrieving PIN cache") +
          Line("PINCacheManager::GetPINCache - ENTER") + Value("Reader Name: ", "TELVO Reader A") +
          Value("Serial Number: ", kSerial) + Line("PINCache search loop - entry") +
          Value("Reader Name (cache): ", "TELVO Reader A") + Value("Serial number (cache): ", kSerial) +
          Line("PIN Cache is set") + Line("GetPINCache - ENTER") + Line("GetPINCache - ENTER") +
          Line("GetPINCache - EXIT") + Line("Login") + Line("Log-in success") +
          Line("TELVOCSPContext::Sign Initialze Signing") + Line("TELVOCSPContext::Sign Pre Signing") +
          Line("TELVOCSPContext::Sign Post Signing") + Line("\nCPSignHash Success") +

          Frame("CPDestroyHash") + Value("\thHash: \t", handle) + Line("\nCPDestroyHash Success"),
      log);
  EXPECT_EQ(
      (Calls{"C_DigestInit(1, CKM_SHA_1)", "C_Digest(1, 3 bytes, null)", "C_Digest(1, 3 bytes, room 20)", "C_Logout(1)",
             "C_LoginExtended(1, user 1, 1234)", "C_SignInit(1, CKM_RSA_PKCS, 3)", "C_Sign(1, 35 bytes, room 128)"}),
      m_module.TakeCalls());
  CryptReleaseContext(context, 0);
}

}  // namespace
