// context_card READER PROVIDER: silent contexts on a reader, controlled by commands on standard input, with one
// answer line each:
//
//   acquire      another context of this program                   "done"
//   library      another context of the provider's library         "done"
//   pin PIN      LoginWithPIN of this program's last context       "done"
//   login        Login of that context                             "done"
//
// A failure is answered with its code in hexadecimal.
#include <boost/make_shared.hpp>
#include <iostream>
#include <list>
#include <string>

#include "common/CCSPContextError.h"
#include "common/FormatNumber.h"
#include "context/TELVOCSPContext.h"
#include "cryptoki/CCryptoWrapper.h"
#include "cryptoki/CryptokiError.h"
#include "entry/ProviderInterface.h"
#include "platform/ExportOf.h"

namespace {

class Contexts {
 public:
  Contexts(const std::string& reader, std::string provider)
      : m_name("\\\\.\\" + reader + "\\"), m_provider(std::move(provider)) {}

  std::string Do(const std::string& command) {
    try {
      if (command == "acquire") return Acquire();
      if (command == "library") return AcquireFromLibrary();
      if (command == "login") return LogIn();
      if (command.rfind("pin ", 0) == 0) return LogInWith(command.substr(4));
      return "what?";
    } catch (const CCSPContextError& error) {
      return FormatNumber("%08X", error.GetCode());
    } catch (const CryptokiError& error) {
      return "module " + FormatNumber("%08X", error.GetCode());
    }
  }

 private:
  std::string Acquire() {
    m_contexts.push_back(boost::make_shared<TELVOCSPContext>(static_cast<HINSTANCE>(nullptr)));
    m_contexts.back()->Initialize(m_name.c_str(), CRYPT_SILENT, CCryptoWrapper::GetCryptoki(), 1);
    return "done";
  }

  std::string AcquireFromLibrary() {
    const HMODULE library = LoadLibraryA(m_provider.c_str());
    if (library == nullptr) return "the library cannot be loaded";
    const auto acquire = ExportOf<decltype(&CPAcquireContext)>(library, "CPAcquireContext");
    HCRYPTPROV handle = 0;
    if (acquire(&handle, m_name.c_str(), CRYPT_SILENT, nullptr) == FALSE) return FormatNumber("%08X", GetLastError());
    return "done";
  }

  std::string LogIn() {
    m_contexts.back()->Login();
    return "done";
  }

  std::string LogInWith(const std::string& pin) {
    m_contexts.back()->LoginWithPIN(reinterpret_cast<const BYTE*>(pin.data()), static_cast<DWORD>(pin.size()));
    return "done";
  }

  std::string m_name;
  std::string m_provider;
  std::list<boost::shared_ptr<TELVOCSPContext>> m_contexts;
};

}  // namespace

int main(int count, char** arguments) {
  if (count != 3) return 2;
  Contexts contexts(arguments[1], arguments[2]);
  for (std::string line; std::getline(std::cin, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    std::cout << contexts.Do(line) << std::endl;  // flushed: the caller waits for it
  }
  return 0;
}
