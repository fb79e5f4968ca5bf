// A row of the table: one variant of a CryptoAPI call, made with two providers in the same run.
//
// Every row has its own contexts, keys and hashes. Values that vary from run to run (handles, times, random bytes) are
// not in an answer, but their sizes are.
#pragma once

#include "common/Platform.h"

#include <functional>
#include <string>
#include <vector>

#include "Side.h"
#include "Steps.h"

using Call = std::function<std::string(const Side&)>;

struct Row {
  const char* id;  // SUBJECT.VARIANT
  const char* call;
  // The answer according to Microsoft's documentation. "or" separates answers that are both right, and a remark for the
  // reader follows a semicolon.
  const char* documented;
  Call answer;
};
using Rows = std::vector<Row>;

extern const Rows kContextRows;
extern const Rows kReleaseRows;
extern const Rows kProviderRows;
extern const Rows kEnumerationRows;
extern const Rows kProviderSetRows;
extern const Rows kRandomRows;
extern const Rows kHashRows;
extern const Rows kHashDataRows;
extern const Rows kHashParamRows;
extern const Rows kSignRows;
extern const Rows kVerifyRows;
extern const Rows kGenerateRows;
extern const Rows kUserKeyRows;
extern const Rows kDeriveRows;
extern const Rows kDuplicateRows;
extern const Rows kExportRows;
extern const Rows kImportRows;
extern const Rows kEncryptRows;
extern const Rows kDecryptRows;
extern const Rows kPairParamRows;
extern const Rows kSessionParamRows;
extern const Rows kCertificateRows;
extern const Rows kMessageRows;
extern const Rows kPinRows;
