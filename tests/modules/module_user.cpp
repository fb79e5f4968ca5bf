// module_user sign|decrypt INPUT OUTPUT: one operation with a private key and CKM_RSA_PKCS. The environment names the
// module and the key, as described in tests/modules/common.sh. Under Wine the program calls the module through the
// bridge; it uses no other library of the project.
#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "cryptoki/Pkcs11.h"

namespace {

using Bytes = std::vector<CK_BYTE>;

std::string Environment(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? std::string() : value;
}

template <typename Container>
CK_ULONG Length(const Container& container) {
  return static_cast<CK_ULONG>(container.size());
}

void Check(CK_RV result, const char* what) {
  if (result == CKR_OK) return;
  char text[20] = {};
  static_cast<void>(std::snprintf(text, sizeof text, " 0x%lX", result));
  throw std::runtime_error(what + std::string(text));
}

Bytes FromHex(const std::string& text) {
  Bytes bytes;
  for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
    bytes.push_back(static_cast<CK_BYTE>(std::stoul(text.substr(i, 2), nullptr, 16)));
  }
  return bytes;
}

#if defined(_WIN32)
void* FindGetFunctionList(const std::string& path) {
  const HMODULE library = LoadLibraryA(path.c_str());
  return library == nullptr ? nullptr : reinterpret_cast<void*>(GetProcAddress(library, "C_GetFunctionList"));
}
#else
void* FindGetFunctionList(const std::string& path) {
  void* const library = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  return library == nullptr ? nullptr : ::dlsym(library, "C_GetFunctionList");
}
#endif

CK_FUNCTION_LIST& Load() {
  const std::string path = Environment("MODULE");
  const auto get = reinterpret_cast<CK_C_GetFunctionList>(FindGetFunctionList(path));
  if (get == nullptr) throw std::runtime_error(path + " is not a module");
  CK_FUNCTION_LIST* list = nullptr;
  Check(get(&list), "C_GetFunctionList");
  return *list;
}

void Initialize(CK_FUNCTION_LIST& module) {
  std::string init = Environment("INIT");
  CK_C_INITIALIZE_ARGS arguments = {};
  arguments.flags = CKF_OS_LOCKING_OK;
  arguments.pReserved = init.empty() ? nullptr : init.data();
  Check(module.C_Initialize(&arguments), "C_Initialize");
}

CK_SLOT_ID FindSlot(CK_FUNCTION_LIST& module) {
  CK_SLOT_ID slots[64] = {};
  CK_ULONG count = std::size(slots);
  Check(module.C_GetSlotList(CK_TRUE, slots, &count), "C_GetSlotList");
  std::string label = Environment("LABEL");
  label.resize(sizeof(CK_TOKEN_INFO::label), ' ');
  for (CK_ULONG i = 0; i < count; ++i) {
    CK_TOKEN_INFO info = {};
    Check(module.C_GetTokenInfo(slots[i], &info), "C_GetTokenInfo");
    if (std::memcmp(info.label, label.data(), label.size()) == 0) return slots[i];
  }
  throw std::runtime_error("no token has the label '" + label + "'");
}

CK_SESSION_HANDLE LogIn(CK_FUNCTION_LIST& module) {
  CK_SESSION_HANDLE session = 0;
  Check(module.C_OpenSession(FindSlot(module), CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr, &session),
        "C_OpenSession");
  std::string pin = Environment("PIN");
  Check(module.C_Login(session, CKU_USER, reinterpret_cast<CK_BYTE*>(pin.data()), Length(pin)), "C_Login");
  return session;
}

CK_OBJECT_HANDLE FindKey(CK_FUNCTION_LIST& module, CK_SESSION_HANDLE session) {
  CK_OBJECT_CLASS privateKey = CKO_PRIVATE_KEY;
  Bytes id = FromHex(Environment("ID"));
  CK_ATTRIBUTE wanted[] = {{CKA_CLASS, &privateKey, sizeof privateKey}, {CKA_ID, id.data(), Length(id)}};
  CK_OBJECT_HANDLE found[2] = {};
  CK_ULONG count = 0;
  Check(module.C_FindObjectsInit(session, wanted, std::size(wanted)), "C_FindObjectsInit");
  Check(module.C_FindObjects(session, found, std::size(found), &count), "C_FindObjects");
  Check(module.C_FindObjectsFinal(session), "C_FindObjectsFinal");
  if (count != 1) throw std::runtime_error(std::to_string(count) + " private keys have the identifier");
  return found[0];
}

Bytes Apply(CK_FUNCTION_LIST& module, bool sign, Bytes data) {
  const CK_SESSION_HANDLE session = LogIn(module);
  const CK_OBJECT_HANDLE key = FindKey(module, session);
  CK_MECHANISM mechanism = {CKM_RSA_PKCS, nullptr, 0};
  Bytes result(512);
  CK_ULONG length = Length(result);
  if (sign) {
    Check(module.C_SignInit(session, &mechanism, key), "C_SignInit");
    Check(module.C_Sign(session, data.data(), Length(data), result.data(), &length), "C_Sign");
  } else {
    Check(module.C_DecryptInit(session, &mechanism, key), "C_DecryptInit");
    Check(module.C_Decrypt(session, data.data(), Length(data), result.data(), &length), "C_Decrypt");
  }
  result.resize(length);
  return result;
}

void Run(const std::string& operation, const char* input, const char* output) {
  std::ifstream in(input, std::ios::binary);
  const Bytes data((std::istreambuf_iterator<char>(in)), {});
  CK_FUNCTION_LIST& module = Load();
  Initialize(module);
  const Bytes result = Apply(module, operation == "sign", data);
  std::ofstream out(output, std::ios::binary);
  out.write(reinterpret_cast<const char*>(result.data()), static_cast<std::streamsize>(result.size()));
  Check(module.C_Finalize(nullptr), "C_Finalize");
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 4) return 2;
  try {
    Run(arguments[1], arguments[2], arguments[3]);
    return 0;
  } catch (const std::exception& error) {
    static_cast<void>(std::fprintf(stderr, "module_user: %s\n", error.what()));
    return 1;
  }
}
