// A row of the table: one variant of a call of CryptoAPI, asked of two providers in the same run.
//
// Every row has contexts, keys and hashes of its own. What varies from run to run (handles, times, random bytes) is not
// in an answer, but its size is.
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
  // What Microsoft's documentation says, as an answer would say it. "or" stands between answers that are both right,
  // and words for the reader come after a semicolon.
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
