#include "adapter/software/Random.h"

#include "adapter/software/Gcrypt.h"

namespace adapter::software {

void Fill(CK_BYTE* bytes, std::size_t length) {
  StartGcrypt();
  if (length != 0) gcry_randomize(bytes, length, GCRY_STRONG_RANDOM);
}

}  // namespace adapter::software
