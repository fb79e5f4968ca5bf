// overrun stack|buffer: writes beyond a buffer of its own. A hardened program ends there; one that is not says "went
// on".
#include <cstdio>
#include <cstring>
#include <string>

namespace {

// How much is written, which the compiler must not know.
volatile std::size_t g_length = 64;

// Through a pointer, which only the value behind the buffers sees.
__attribute__((noinline)) void OverrunStack() {
  char buffer[16] = {};
  volatile char* const place = buffer;
  for (std::size_t i = 0; i < g_length; ++i) place[i] = 'x';
}

// By a function of the C library, to which the compiler tells the size of the buffer.
__attribute__((noinline)) void OverrunBuffer(const char* from) {
  static char buffer[16];
  std::memcpy(buffer, from, g_length);
  std::printf("%c\n", buffer[0]);
}

}  // namespace

int main(int count, char** arguments) {
  const std::string what = count == 2 ? arguments[1] : "";
  if (what == "stack") {
    OverrunStack();
  } else if (what == "buffer") {
    OverrunBuffer(std::string(g_length, 'x').c_str());
  } else {
    return 2;
  }
  std::puts("went on");
  return 0;
}
