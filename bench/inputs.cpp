// SPDX-License-Identifier: MIT
#include "bench/inputs.h"

#include <random>

namespace quillmark::bench {
namespace {

constexpr std::size_t kPageSize = 4096;

/// Whether the byte at `at` belongs to a run of fill bytes.
bool IsFill(std::size_t at, Filling filling) {
  switch (filling) {
    case Filling::kDense:
      return false;
    case Filling::kHalf:
      return at / kPageSize % 2 == 1;
    case Filling::kSparse:
      return at % kPageSize >= kPageSize * 3 / 100;
  }
  return false;
}

}  // namespace

std::string_view NameOf(Filling filling) {
  switch (filling) {
    case Filling::kDense:
      return "dense";
    case Filling::kHalf:
      return "half";
    case Filling::kSparse:
      return "sparse";
  }
  return "";
}

std::vector<std::uint8_t> MakeImage(std::size_t size, Filling filling) {
  std::mt19937 random(20);  // NOLINT(bugprone-random-generator-seed): the same image in every run
  std::vector<std::uint8_t> image(size, kFillByte);
  for (std::size_t at = 0; at < size; ++at) {
    if (!IsFill(at, filling)) {
      image[at] = static_cast<std::uint8_t>(random() >> 8U);
    }
  }
  return image;
}

}  // namespace quillmark::bench
