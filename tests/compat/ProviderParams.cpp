#include "ProviderParams.h"

#include <cstring>

namespace {

std::string Shown(As as, const Bytes& value, DWORD length) {
  DWORD number = 0;
  if (as == As::kText) return std::string(reinterpret_cast<const char*>(value.data()));
  if (as == As::kLength) return "length " + Number(length);
  std::memcpy(&number, value.data(), sizeof number);
  return Flags(number) + ", length " + Number(length);
}

std::string AskSize(HCRYPTPROV context, DWORD parameter, DWORD flags) {
  DWORD length = 0;
  const BOOL done = CryptGetProvParam(context, parameter, nullptr, &length, flags);
  return Answer(done, "length " + Number(length));
}

}  // namespace

std::string AskProvider(HCRYPTPROV context, DWORD parameter, As as, DWORD declared, DWORD flags) {
  Bytes value(1024);
  DWORD length = declared;
  const BOOL done = CryptGetProvParam(context, parameter, value.data(), &length, flags);
  if (done == FALSE && GetLastError() == ERROR_MORE_DATA) return "FALSE ERROR_MORE_DATA, length " + Number(length);
  return Answer(done, Shown(as, value, length));
}

Call GetProvider(DWORD parameter, As as, DWORD declared, DWORD flags) {
  return [=](const Side& side) {
    const Prepared context(side);
    return AskProvider(context, parameter, as, declared, flags);
  };
}

Call GetProviderSize(DWORD parameter, DWORD flags) {
  return [=](const Side& side) {
    const Prepared context(side);
    return AskSize(context, parameter, flags);
  };
}

Call GetForVerification(DWORD parameter, As as, DWORD flags) {
  return [=](const Side& side) {
    const Verifying context(side);
    return AskProvider(context, parameter, as, 1024, flags);
  };
}
