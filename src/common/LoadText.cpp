#include "common/LoadText.h"

#include "common/LibraryInstance.h"

std::string LoadText(UINT id) {
  char text[256];
  const int length = LoadStringA(g_libraryInstance, id, text, sizeof(text));
  return {text, static_cast<std::size_t>(length > 0 ? length : 0)};
}
