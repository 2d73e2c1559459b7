// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <vector>

#include "base/hex.h"
#include "context/addressing.h"
#include "context/reply_frames.h"
#include "quillmark/dom.h"

namespace quillmark {

/// All frames that a run document received, in document order, each read and decoded once: for the
/// check of a transfer, which has thousands of them.
class ReceivedFrames {
 public:
  ReceivedFrames(TransportForm form, const DOMDocument& root);

  /// Number of `r` elements, including those without data.
  [[nodiscard]] std::size_t size() const { return frames_.size(); }

  /// The frames from an index on, as far as they are siblings: no message continues in another
  /// exchange.
  class From;

 private:
  enum class State : std::uint8_t { kBytes, kNotReceived, kNoText, kNotHex };
  struct Frame {
    State state;
    std::size_t end;  ///< of its bytes in `bytes_`; they begin where those before end
  };

  void Add(const ChildText& data);
  /// The same results and errors as `ReplyFrames::Next`.
  [[nodiscard]] std::optional<ByteView> At(std::size_t index) const;

  Bytes bytes_;
  std::vector<Frame> frames_;
  std::vector<std::size_t> exchange_ends_;  ///< number of frames up to the end of each exchange
};

class ReceivedFrames::From final : public ReplyFrames {
 public:
  From(const ReceivedFrames& frames, std::size_t index);

  [[nodiscard]] std::optional<ByteView> Next() override;

 private:
  const ReceivedFrames& frames_;
  std::size_t next_;
  std::size_t end_;
};

}  // namespace quillmark
