// CertificateHolder: owns a certificate of the platform, and frees it when destroyed. May be empty.
#pragma once

#include "common/Platform.h"

#include <memory>

struct FreeCertificate {
  void operator()(const CERT_CONTEXT* certificate) const { CertFreeCertificateContext(certificate); }
};
using CertificateHolder = std::unique_ptr<const CERT_CONTEXT, FreeCertificate>;
