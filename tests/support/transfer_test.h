// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <functional>
#include <limits>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "support/component_test.h"

namespace quillmark::testing {

/// What `XMLReady` carried: the text of a document, nothing for an empty node.
using Piece = std::optional<std::string>;

/// Collects the pieces of a transfer; cancels at the piece that it is told to.
class PieceCollector {
 public:
  explicit PieceCollector(std::size_t cancel_at = std::numeric_limits<std::size_t>::max())
      : cancel_at_(cancel_at) {}

  void operator()(const std::shared_ptr<IXMLDOMNode>& node, bool& cancel) {
    const std::lock_guard lock(mutex_);
    pieces_.push_back(node ? Piece(XmlOf(*node)) : std::nullopt);
    if (pieces_.size() != cancel_at_) {
      cancel = false;
    }
  }

  [[nodiscard]] std::vector<Piece> Pieces() const {
    const std::lock_guard lock(mutex_);
    return pieces_;
  }

 private:
  mutable std::mutex mutex_;
  std::size_t cancel_at_;
  std::vector<Piece> pieces_;
};

/// Whole transfers, their pieces collected.
class TransferTest : public ComponentTest {
 protected:
  [[nodiscard]] std::shared_ptr<ByteString> Segment(std::int32_t at, std::string_view hex) const {
    auto segment = String(hex);
    segment->SetStartAddress(at);
    return segment;
  }

  [[nodiscard]] std::shared_ptr<MemoryImage> Image(
      const std::vector<std::shared_ptr<ByteString>>& segments) const {
    auto image = platform_->CreateMemoryImage();
    for (const auto& segment : segments) {
      image->AddSegment(*segment);
    }
    return image;
  }

  /// The pieces of one transfer, once its worker has ended.
  std::vector<Piece> Collect(const std::function<void()>& start, PieceCollector& collector) {
    diag_->OnXMLReady(std::ref(collector));
    start();
    platform_->WaitForWorkers();
    diag_->OnXMLReady({});
    return collector.Pieces();
  }
  std::vector<Piece> Collect(const std::function<void()>& start) {
    PieceCollector collector;
    return Collect(start, collector);
  }

  std::vector<Piece> Download(const std::shared_ptr<MemoryImage>& image, std::uint8_t fill,
                              std::int32_t align, std::int32_t max_size) {
    return Collect([&] { diag_->ComputeDownload(0x80, image, fill, align, max_size); });
  }

  std::vector<Piece> Upload(const std::vector<std::pair<std::int32_t, std::int32_t>>& ranges) {
    const auto map = platform_->CreateMemoryMap();
    for (const auto& [start, count] : ranges) {
      map->AddRange(start, count);
    }
    return Collect([&] { diag_->ComputeUpload(map, 0x80); });
  }

  /// `Document` with the attribute `totalbytes` on its root.
  static Piece Transferred(const Form& form, std::string_view total,
                           const std::vector<std::string>& steps) {
    std::string text = Document(form, steps);
    const std::string root = form.name == kKLine.name ? "<k" : "<can";
    text.insert(text.find(root) + root.size(), " totalbytes=\"" + std::string(total) + "\"");
    return text;
  }
};

}  // namespace quillmark::testing
