// telvotool: the provider for administrators and scripts.
#include "common/Platform.h"

#include <cstdio>
#include <fcntl.h>
#include <io.h>
#include <shellapi.h>
#include <string>
#include <vector>

#include "telvotool/Commands.h"
#include "telvotool/Text.h"

int main() {
  int count = 0;
  wchar_t** const words = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> arguments;
  for (int index = 1; index < count; ++index) arguments.push_back(tool::Narrow(words[index]));
  LocalFree(words);
  SetConsoleOutputCP(CP_UTF8);
  // Lines end in a single line feed, so that scripts on any system can read them.
  _setmode(_fileno(stdout), _O_BINARY);
  _setmode(_fileno(stderr), _O_BINARY);
  return tool::RunCommandLine(arguments);
}
