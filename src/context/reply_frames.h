// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <utility>

#include "base/hex.h"
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

}  // namespace quillmark
