// watch_card READER: keeps a PIN for a card in a PC/SC reader and watches the reader, as a context does from its start
// on. Each line of the input is a command, and each is answered by a line:
//   add     watches the reader once more    -> added
//   login   puts the PIN into the cache     -> held
//   pin     asks for the PIN                -> held, or none
#include <iostream>
#include <string>

#include "context/UnplugThreadManager.h"
#include "pin/PINCacheManager.h"

int main(int count, char** arguments) {
  if (count != 2) return 2;
  const std::string reader = arguments[1];
  const auto cache = g_pinCacheManager.GetPINCache(reader, "0123456789ABCDEF");
  for (std::string command; std::getline(std::cin, command);) {
    if (command == "add") {
      g_unplugThreadManager.AddUnplugThread(reader, 0, boost::shared_ptr<CryptokiInterface>());
      std::cout << "added" << std::endl;
      continue;
    }
    if (command == "login") cache->SetPINCache(reinterpret_cast<const BYTE*>("1234"), 4);
    std::cout << (cache->IsPINSet() != 0 ? "held" : "none") << std::endl;
  }
  return 0;
}
