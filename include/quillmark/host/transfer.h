// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "quillmark/diag_on_can_reprog.h"
#include "quillmark/error.h"
#include "quillmark/export.h"

namespace quillmark::host {

/// A download or an upload as a series of documents, which the thread that owns the bus asks for:
///
///     Transfer transfer = Transfer::Download(reprog, RL, image, 0xFF, 16, 240);
///     while (const auto document = transfer.Next(10s)) {
///       …run it, check it…
///     }
///     …transfer.state() says whether that was all
///
/// The worker is never more than two documents ahead, so that a large image does not fill the
/// memory. A transfer takes the handler of its object for as long as it lives: an object has one
/// transfer at a time.
///
/// Threads: used by one thread at a time. Documents that were given out belong to the caller.
class QUILLMARK_API Transfer {
 public:
  /// How far a transfer is.
  enum class State : std::uint8_t {
    kRunning,    ///< there is more to come
    kComplete,   ///< all bytes were covered
    kCancelled,  ///< by `Cancel`
    kFailed,     ///< the worker ended before all bytes were covered
  };

  /// Starts a download as `DiagOnCANReprog::ComputeDownload` says, and raises what that raises.
  [[nodiscard]] static Transfer Download(std::shared_ptr<DiagOnCANReprog> reprog, std::uint8_t RL,
                                         const std::shared_ptr<MemoryImage>& image,
                                         std::uint8_t fill_byte, std::int32_t alignment,
                                         std::int32_t block_size);
  /// Starts an upload as `DiagOnCANReprog::ComputeUpload` says, and raises what that raises.
  [[nodiscard]] static Transfer Upload(std::shared_ptr<DiagOnCANReprog> reprog,
                                       const std::shared_ptr<MemoryMap>& map, std::uint8_t RL);

  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;
  /// What is left behind can only be destroyed.
  Transfer(Transfer&&) noexcept = default;
  Transfer& operator=(Transfer&&) = delete;
  /// As `Cancel`.
  ~Transfer() { Cancel(); }

  /// The next document; null where none comes within `timeout`, and once the transfer has ended:
  /// `state` tells the two apart.
  [[nodiscard]] std::shared_ptr<DOMDocument> Next(std::chrono::milliseconds timeout);

  /// Ends a transfer that is still running. Returns once its worker has raised its last event,
  /// which takes as long as one document, at most after ten seconds: after that the object is free
  /// for the next transfer.
  void Cancel();

  /// Whether there is more to come, and if not, why.
  [[nodiscard]] State state() const { return state_; }
  /// Of a failed transfer: the number and the text that the worker ended with; nothing if it ended
  /// too early without an error at hand, as on a platform whose workers end in their own way.
  [[nodiscard]] const std::optional<Error>& error() const { return error_; }
  /// How many bytes the documents given out cover. Fill that is left out counts.
  [[nodiscard]] std::uint64_t covered() const { return covered_; }
  /// How many bytes the image or the map has.
  [[nodiscard]] std::uint64_t size() const { return size_; }

 private:
  class Channel;

  Transfer(std::shared_ptr<DiagOnCANReprog> reprog,
           const std::function<void(DiagOnCANReprog&)>& start);

  [[nodiscard]] std::shared_ptr<DOMDocument> Count(const std::shared_ptr<IXMLDOMNode>& node);
  void End();

  std::shared_ptr<DiagOnCANReprog> reprog_;
  std::shared_ptr<Channel> channel_;
  State state_ = State::kRunning;
  std::optional<Error> error_{};
  std::uint64_t covered_ = 0;
  std::uint64_t size_ = 0;
};

}  // namespace quillmark::host
