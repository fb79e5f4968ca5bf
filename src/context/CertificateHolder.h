// CertificateHolder: a certificate of the platform, given back when the holder dies. May hold none.
#pragma once

#include "common/Platform.h"

#include <memory>

struct FreeCertificate {
  void operator()(const CERT_CONTEXT* certificate) const { CertFreeCertificateContext(certificate); }
};
using CertificateHolder = std::unique_ptr<const CERT_CONTEXT, FreeCertificate>;
