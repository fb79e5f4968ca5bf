// CertificateHolder: owns a certificate of the platform, and frees it at its end. May hold none.
#pragma once

#include "common/Platform.h"

#include <memory>

struct FreeCertificate {
  void operator()(const CERT_CONTEXT* certificate) const { CertFreeCertificateContext(certificate); }
};
using CertificateHolder = std::unique_ptr<const CERT_CONTEXT, FreeCertificate>;
