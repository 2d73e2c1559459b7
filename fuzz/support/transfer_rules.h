// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <vector>

#include "quillmark/host/bus.h"
#include "quillmark/host/bytes.h"

namespace quillmark::fuzz {

struct Stretch {
  std::int32_t start = 0;
  host::Bytes bytes;
};

struct Download {
  host::TransportForm form = host::TransportForm::kPlainCan;
  std::uint8_t RL = 0;
  std::uint8_t fill = 0;
  std::int32_t IMod = 1;
  std::int32_t MaxSize = 1;
  std::vector<Stretch> image;  ///< in the order in which it was added
};

struct Range {
  std::int32_t start = 0;
  std::int32_t count = 0;
};

/// The documents of a transfer: how many bytes each covers, and its requests.
struct Piece {
  std::int64_t totalbytes = 0;
  std::vector<host::Bytes> requests;
};

/// What a worker must deliver: these pieces, then the end. If the rules end the run with an error,
/// the pieces up to there. At most `most_pieces` are computed.
[[nodiscard]] std::vector<Piece> PiecesOf(const Download& download, std::size_t most_pieces);
[[nodiscard]] std::vector<Piece> PiecesOf(const std::vector<Range>& ranges,
                                          std::size_t most_pieces);

}  // namespace quillmark::fuzz
