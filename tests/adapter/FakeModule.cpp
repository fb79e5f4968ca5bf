// A loadable PKCS #11 module. Most of its entries do nothing. The environment variable TELVO_FAKE_MODULE selects its
// fault.
#define CRYPTOKI_EXPORTS  // the header declares C_GetFunctionList, which is exported here
#include <algorithm>
#include <cstdlib>
#include <string>

#include "cryptoki/Pkcs11.h"

#if defined(_WIN32)
#include "common/Platform.h"
#define EXPORTED extern "C" __declspec(dllexport)
#else
#define EXPORTED extern "C" __attribute__((visibility("default")))
#endif

namespace {

std::string Fault() {
#if defined(_WIN32)
  char text[100] = {};
  GetEnvironmentVariableA("TELVO_FAKE_MODULE", text, sizeof text);
  return text;
#else
  const char* const text = std::getenv("TELVO_FAKE_MODULE");
  return text == nullptr ? "" : text;
#endif
}

template <typename... P>
CK_RV DoNothing(P... /*arguments*/) {
  return CKR_OK;
}

CK_RV Initialize(CK_VOID_PTR initArgs) {
  const std::string fault = Fault();
  if (fault.empty()) return CKR_OK;
  if (fault == "is initialised") return CKR_CRYPTOKI_ALREADY_INITIALIZED;
  if (fault == "has no device") return CKR_DEVICE_ERROR;
  const auto& arguments = *static_cast<const CK_C_INITIALIZE_ARGS*>(initArgs);
  if (fault == "cannot lock") return arguments.flags == CKF_OS_LOCKING_OK ? CKR_CANT_LOCK : CKR_OK;
  const bool given = arguments.pReserved != nullptr;
  if (fault == "wants 'abc'") {
    return given && static_cast<const char*>(arguments.pReserved) == std::string("abc") ? CKR_OK : CKR_ARGUMENTS_BAD;
  }
  return fault == "wants nothing" && given ? CKR_ARGUMENTS_BAD : CKR_OK;
}

CK_RV Sign(CK_SESSION_HANDLE /*session*/, CK_BYTE_PTR /*data*/, CK_ULONG /*dataLen*/, CK_BYTE_PTR signature,
           CK_ULONG_PTR signatureLen) {
  const bool enough = signature == nullptr || *signatureLen >= 256;
  *signatureLen = 256;
  return enough ? CKR_OK : CKR_BUFFER_TOO_SMALL;
}

CK_RV SeedRandom(CK_SESSION_HANDLE /*session*/, CK_BYTE_PTR /*seed*/, CK_ULONG /*seedLen*/) { return 0x80000007; }

// Its only slot has a token that signs, but cannot decrypt and is read-only.
CK_RV GetSlotList(CK_BBOOL /*tokenPresent*/, CK_SLOT_ID_PTR slotList, CK_ULONG_PTR count) {
  *count = Fault() == "has no slot" ? 0 : 1;
  if (slotList != nullptr) slotList[0] = 7;
  return CKR_OK;
}

template <std::size_t size>
void SetField(CK_UTF8CHAR (&field)[size], std::string text) {
  text.resize(size, ' ');
  std::copy(text.begin(), text.end(), field);
}

CK_RV GetInfo(CK_INFO_PTR info) {
  SetField(info->manufacturerID, "Nobody");
  SetField(info->libraryDescription, "Fake module");
  info->libraryVersion = {1, 2};
  info->cryptokiVersion = {2, 40};
  return CKR_OK;
}

CK_RV GetSlotInfo(CK_SLOT_ID /*slot*/, CK_SLOT_INFO_PTR info) {
  SetField(info->slotDescription, "Fake reader");
  return CKR_OK;
}

CK_RV GetTokenInfo(CK_SLOT_ID /*slot*/, CK_TOKEN_INFO_PTR info) {
  SetField(info->label, "Fake token");
  SetField(info->serialNumber, "12");
  info->flags = CKF_TOKEN_INITIALIZED | CKF_WRITE_PROTECTED;
  return CKR_OK;
}

CK_RV GetMechanismInfo(CK_SLOT_ID /*slot*/, CK_MECHANISM_TYPE type, CK_MECHANISM_INFO_PTR info) {
  if (type != CKM_RSA_PKCS) return CKR_MECHANISM_INVALID;
  info->flags = CKF_SIGN;
  return CKR_OK;
}

template <typename... P>
auto NothingFor(CK_RV (* /*entry*/)(P...)) {
  return &DoNothing<P...>;
}

CK_FUNCTION_LIST g_table = {};

}  // namespace

EXPORTED CK_RV C_GetFunctionList(CK_FUNCTION_LIST_PTR_PTR functionList) {
  g_table.version = {2, 40};
#define ENTRY(name, parameters, arguments) g_table.name = NothingFor(decltype(g_table.name){});
#include "cryptoki/CryptokiEntries.inc"
  g_table.C_Initialize = &Initialize;
  g_table.C_GetInfo = &GetInfo;
  g_table.C_GetSlotList = &GetSlotList;
  g_table.C_GetSlotInfo = &GetSlotInfo;
  g_table.C_GetTokenInfo = &GetTokenInfo;
  g_table.C_GetMechanismInfo = &GetMechanismInfo;
  g_table.C_Sign = &Sign;
  g_table.C_SeedRandom = &SeedRandom;
  const std::string fault = Fault();
  if (fault == "has no table") return CKR_OK;
  if (fault == "refuses its table") return CKR_HOST_MEMORY;
  if (fault == "is old") g_table.version = {1, 7};
  if (fault == "lacks C_Decrypt") g_table.C_Decrypt = nullptr;
  *functionList = &g_table;
  return CKR_OK;
}
