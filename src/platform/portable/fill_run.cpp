// SPDX-License-Identifier: MIT
#include "platform/portable/fill_run.h"

#include <cstring>

namespace quillmark::portable {

std::size_t FillRun(ByteView bytes, std::uint8_t fill) {
  using Word = std::uint64_t;
  const Word pattern = Word{0x0101010101010101} * fill;
  std::size_t run = 0;
  while (bytes.size() - run >= sizeof(Word)) {
    Word word = 0;
    std::memcpy(&word, bytes.data() + run, sizeof word);
    if (word != pattern) {
      break;
    }
    run += sizeof word;
  }
  while (run < bytes.size() && bytes[run] == fill) {
    ++run;
  }
  return run;
}

}  // namespace quillmark::portable
