#pragma once

#include <memory>
#include <optional>

#include "base/hex.h"
#include "quillmark/dom.h"

namespace quillmark {

/// The received frames of a run document: the `r` elements from a node on, in document order among
/// its siblings; send elements and texts between them are skipped.
class ReplyFrames {
 public:
  explicit ReplyFrames(std::shared_ptr<IXMLDOMNode> start) : next_(std::move(start)) {}

  /// The bytes of the next frame; nothing where the host received none (no `d`). Raises 91 where no
  /// further frame follows or a `d` has no text, 13 where its text is not hex.
  [[nodiscard]] std::optional<Bytes> Next();

  /// The same for a frame that must be there: raises 2000 where the host received none.
  [[nodiscard]] Bytes NextData();

 private:
  std::shared_ptr<IXMLDOMNode> next_;
};

}  // namespace quillmark
