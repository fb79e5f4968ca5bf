// The host build's certificate stores, when memory runs out.
#include <windows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <new>
#include <wincrypt.h>

#include "module/SampleCertificates.h"
#include "platform/FailedAllocation.h"
#include "platform/ScriptedCertStore.h"

namespace {

using ::testing::ElementsAre;

using Certificate = std::unique_ptr<const CERT_CONTEXT, decltype(&CertFreeCertificateContext)>;

TEST(CertStoreTest, AFailedReplacementKeepsTheOldCertificate) {
  const Certificate certificate(CertCreateCertificateContext(X509_ASN_ENCODING, kFirstCertificate.data(),
                                                             static_cast<DWORD>(kFirstCertificate.size())),
                                &CertFreeCertificateContext);
  HCERTSTORE const store = CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr);
  const auto add = [&] {
    return CertAddCertificateContextToStore(store, certificate.get(), CERT_STORE_ADD_REPLACE_EXISTING, nullptr);
  };
  ASSERT_TRUE(add());
  for (long failing = 1;; ++failing) {
    bool failed = false;
    long count = 0;
    {
      const FailedAllocation failure(failing);
      try {
        add();
      } catch (const std::bad_alloc&) {
        failed = true;
      }
      count = failure.Count();
    }
    EXPECT_THAT(DescribeStore(store), ElementsAre("One")) << "allocation " << failing << " failed";
    if (!failed) {
      EXPECT_LE(count, failing);
      break;
    }
  }
  CertCloseStore(store, 0);
}

}  // namespace
