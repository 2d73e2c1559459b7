// SPDX-License-Identifier: MIT
#include "fuzz/support/transfer_rules.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <numeric>

namespace quillmark::fuzz {
namespace {

using host::Bytes;

constexpr std::int64_t kFirstAddress = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t kLastAddress = std::numeric_limits<std::int32_t>::max();

/// The rules end the run here, with an error or because it was cancelled.
struct RunEnds {};

/// Gathers requests into pieces of 32 KB.
class Pieces {
 public:
  explicit Pieces(std::size_t most) : most_(most) {}

  void Skip(std::int64_t count) { piece_.totalbytes += count; }

  void Add(Bytes request, std::int64_t count) {
    piece_.requests.push_back(std::move(request));
    piece_.totalbytes += count;
    data_ += count;
    if (data_ >= 32768) {
      Emit();
    }
  }

  void Emit() {
    pieces.push_back(std::move(piece_));
    piece_ = {};
    data_ = 0;
    if (pieces.size() == most_) {
      throw RunEnds();
    }
  }

  std::vector<Piece> pieces;

 private:
  std::size_t most_;
  Piece piece_;
  std::int64_t data_ = 0;
};

void RequireAddress(std::int64_t address) {
  if (address < kFirstAddress || address > kLastAddress) {
    throw RunEnds();
  }
}

void AppendAddress(Bytes& request, std::int64_t address) {
  for (const std::int64_t divisor : {65536, 256, 1}) {
    request.push_back(static_cast<std::uint8_t>(address / divisor & 0xFF));
  }
}

Bytes BlockOf(const Download& download, std::int64_t address, const Bytes& data) {
  Bytes block{0x34, download.RL};
  AppendAddress(block, address);
  block.push_back(static_cast<std::uint8_t>(data.size()));
  block.insert(block.end(), data.begin(), data.end());
  const unsigned sum = std::accumulate(block.begin(), block.end(), 0U);
  block.push_back(static_cast<std::uint8_t>(sum >> 8U));
  block.push_back(static_cast<std::uint8_t>(sum));
  return block;
}

void CutStretch(const Download& download, const Stretch& stretch, Pieces& pieces) {
  const bool k_style = download.form != host::TransportForm::kPlainCan;
  const std::int64_t unit = std::abs(std::int64_t{download.IMod});
  auto next = stretch.bytes.begin();
  std::int64_t address = stretch.start;
  // The end address, that of the last byte; an empty range at the first address has none.
  RequireAddress(address + static_cast<std::int64_t>(stretch.bytes.size()) - 1);
  while (next != stretch.bytes.end()) {
    if (unit == 0) {
      throw RunEnds();
    }
    if (address % unit == 0) {
      const auto other = std::find_if(next, stretch.bytes.end(),
                                      [&](std::uint8_t byte) { return byte != download.fill; });
      const std::int64_t skip = (other - next) / unit * unit;
      next += skip;
      address += skip;
      RequireAddress(address);
      pieces.Skip(skip);
    }
    const std::int64_t count = std::min<std::int64_t>(stretch.bytes.end() - next, download.MaxSize);
    if (count == 0) {
      return;
    }
    RequireAddress(address + count);
    const Bytes block = BlockOf(download, address, Bytes(next, next + count));
    if (k_style && block.size() > 255) {
      throw RunEnds();
    }
    next += count;
    address += count;
    pieces.Add(block, count);
  }
}

void CutRange(const Range& range, Pieces& pieces) {
  std::int64_t address = range.start;
  for (std::int64_t left = range.count; left > 0;) {
    const std::int64_t count = std::min<std::int64_t>(left, 48);
    Bytes request{0x35, 0x80};
    AppendAddress(request, address);
    request.push_back(static_cast<std::uint8_t>(count));
    address += count;
    left -= count;
    RequireAddress(address);
    pieces.Add(request, count);
  }
}

template <typename Parts, typename Cut>
std::vector<Piece> CutAll(const Parts& parts, std::size_t most_pieces, Cut cut) {
  Pieces pieces(most_pieces);
  try {
    for (const auto& part : parts) {
      cut(part, pieces);
    }
    pieces.Emit();
  } catch (const RunEnds&) {
  }
  return std::move(pieces.pieces);
}

}  // namespace

std::vector<Piece> PiecesOf(const Download& download, std::size_t most_pieces) {
  std::vector<Stretch> image = download.image;
  std::stable_sort(image.begin(), image.end(),
                   [](const Stretch& a, const Stretch& b) { return a.start < b.start; });
  return CutAll(image, most_pieces, [&](const Stretch& stretch, Pieces& pieces) {
    CutStretch(download, stretch, pieces);
  });
}

std::vector<Piece> PiecesOf(const std::vector<Range>& ranges, std::size_t most_pieces) {
  return CutAll(ranges, most_pieces, CutRange);
}

}  // namespace quillmark::fuzz
