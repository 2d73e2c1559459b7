// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "base/hex.h"
#include "context/addressing.h"
#include "quillmark/dom.h"

namespace quillmark {

/// Received frames of a run document, one after another.
class ReplyFrames {
 public:
  ReplyFrames() = default;
  ReplyFrames(const ReplyFrames&) = delete;
  ReplyFrames& operator=(const ReplyFrames&) = delete;
  ReplyFrames(ReplyFrames&&) = delete;
  ReplyFrames& operator=(ReplyFrames&&) = delete;
  virtual ~ReplyFrames() = default;

  /// The bytes of the next frame, valid until the next call; nothing if the host received none (no
  /// `d`). Raises 91 if no further frame follows or a `d` has no text, 13 if its text is not hex.
  [[nodiscard]] virtual std::optional<ByteView> Next() = 0;

  /// The same for a frame that must be there: raises 2000 if the host received none.
  [[nodiscard]] ByteView NextData();
};

/// The `r` elements from a node on, among its siblings in document order; send elements and texts
/// between them are skipped.
class SiblingFrames final : public ReplyFrames {
 public:
  explicit SiblingFrames(std::shared_ptr<IXMLDOMNode> start) : node_(std::move(start)) {}

  [[nodiscard]] std::optional<ByteView> Next() override;

 private:
  std::shared_ptr<IXMLDOMNode> node_;  ///< the last frame, or where the search for the first begins
  bool has_frame_ = false;             ///< `node_` is a frame that was given
  Bytes bytes_;
};

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
