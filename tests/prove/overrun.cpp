// overrun stack|buffer: writes past the end of its own buffer. A hardened program ends there; any other prints "went
// on".
#include <cstdio>
#include <cstring>
#include <string>

namespace {

// The number of bytes to write, which the compiler must not know.
volatile std::size_t g_length = 64;

// Through a pointer, so that only the stack protector notices it.
__attribute__((noinline)) void OverrunStack() {
  char buffer[16] = {};
  volatile char* const place = buffer;
  for (std::size_t i = 0; i < g_length; ++i) place[i] = 'x';
}

// With a function of the C library, to which the compiler passes the size of the buffer.
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
