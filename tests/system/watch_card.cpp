// watch_card READER...: keeps a PIN for a card in the first of these PC/SC readers and watches all of them, as contexts
// do from their start on. Each line of the input is a command, and each is answered by a line:
//   readers  lists the readers of the system      -> their names, each followed by '|', or the code of the failure
//   watch    watches the readers, as often as asked -> watching
//   login    puts the PIN into the cache          -> held
//   pin      asks for the PIN                     -> held, or none
#include <iostream>
#include <string>

#include "context/UnplugThreadManager.h"
#include "pin/PINCacheManager.h"

namespace {

std::string Readers() {
  SCARDCONTEXT context = 0;
  LONG result = SCardEstablishContext(SCARD_SCOPE_USER, nullptr, nullptr, &context);
  if (result != SCARD_S_SUCCESS) return std::to_string(result);
  char* names = nullptr;
  DWORD length = SCARD_AUTOALLOCATE;
  result = SCardListReadersA(context, nullptr, reinterpret_cast<LPSTR>(&names), &length);
  std::string text = result == SCARD_S_SUCCESS ? std::string(names, length - 1) : std::to_string(result);
  if (result == SCARD_S_SUCCESS) SCardFreeMemory(context, names);
  SCardReleaseContext(context);
  for (char& c : text) {
    if (c == '\0') c = '|';
  }
  return text;
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 2) return 2;
  const auto cache = g_pinCacheManager.GetPINCache(arguments[1], "0123456789ABCDEF");
  for (std::string command; std::getline(std::cin, command);) {
    std::string answer = "watching";
    if (command == "readers") {
      answer = Readers();
    } else if (command == "watch") {
      for (int i = 1; i < count; ++i) {
        g_unplugThreadManager.AddUnplugThread(arguments[i], 0, boost::shared_ptr<CryptokiInterface>());
      }
    } else {
      if (command == "login") cache->SetPINCache(reinterpret_cast<const BYTE*>("1234"), 4);
      answer = cache->IsPINSet() != 0 ? "held" : "none";
    }
    std::cout << answer << std::endl;
  }
  return 0;
}
