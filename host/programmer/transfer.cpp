// SPDX-License-Identifier: MIT
#include "quillmark/host/transfer.h"

#include <unistd.h>

#include <charconv>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <string>
#include <utility>

#include "host/programmer/piece_queue.h"
#include "quillmark/host/memory_ranges.h"
#include "quillmark/portable_platform.h"

namespace quillmark::host {
namespace {

/// The error that is being handled on the worker's thread while it raises its closing event.
std::optional<Error> CurrentError() {
  try {
    if (const std::exception_ptr current = std::current_exception()) {
      std::rethrow_exception(current);
    }
    return std::nullopt;
  } catch (const Error& error) {
    return error;
  } catch (const std::exception& error) {
    return Error(PortablePlatform::kUnexpectedFailure, error.what());
  } catch (...) {
    return Error(PortablePlatform::kUnexpectedFailure);
  }
}

std::optional<std::uint32_t> BytesCoveredBy(const DOMDocument& document) {
  const auto root = document.documentElement();
  const std::string text = root ? root->getAttribute("totalbytes").value_or("") : "";
  std::uint32_t bytes = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), bytes);
  const bool is_number = error == std::errc{} && end == text.data() + text.size();
  return is_number ? std::optional(bytes) : std::nullopt;
}

}  // namespace

/// What the worker and the owner share.
class Transfer::Channel {
 public:
  /// On the worker's thread: false where no more is wanted.
  bool Push(const std::shared_ptr<IXMLDOMNode>& node) {
    if (!node) {
      // The owner reads it behind the null.
      error_ = CurrentError();
    }
    const bool is_wanted = queue_.Push(node);
    if (!node || !is_wanted) {
      SetEnded();
    }
    return is_wanted;
  }

  [[nodiscard]] std::optional<std::shared_ptr<IXMLDOMNode>> Pop(std::chrono::milliseconds timeout) {
    return queue_.Pop(timeout);
  }
  [[nodiscard]] std::optional<Error> TakeError() { return std::exchange(error_, std::nullopt); }

  /// Returns once the worker has raised its last event. A forked child has no worker.
  void Close() {
    constexpr std::chrono::seconds kPatience{10};
    queue_.Close();
    if (process_ == ::getpid()) {
      std::unique_lock lock(mutex_);
      changed_.wait_for(lock, kPatience, [this] { return has_ended_; });
    }
  }

 private:
  void SetEnded() {
    const std::lock_guard lock(mutex_);
    has_ended_ = true;
    changed_.notify_all();
  }

  PieceQueue queue_;
  std::optional<Error> error_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool has_ended_ = false;
  pid_t process_ = ::getpid();
};

Transfer Transfer::Download(std::shared_ptr<DiagOnCANReprog> reprog, std::uint8_t RL,
                            const std::shared_ptr<MemoryImage>& image, std::uint8_t fill_byte,
                            std::int32_t alignment, std::int32_t block_size) {
  Transfer transfer(std::move(reprog), [&](DiagOnCANReprog& object) {
    object.ComputeDownload(RL, image, fill_byte, alignment, block_size);
  });
  transfer.size_ = SizeOf(*image);
  return transfer;
}

Transfer Transfer::Upload(std::shared_ptr<DiagOnCANReprog> reprog,
                          const std::shared_ptr<MemoryMap>& map, std::uint8_t RL) {
  Transfer transfer(std::move(reprog),
                    [&](DiagOnCANReprog& object) { object.ComputeUpload(map, RL); });
  transfer.size_ = SizeOf(*map);
  return transfer;
}

Transfer::Transfer(std::shared_ptr<DiagOnCANReprog> reprog,
                   const std::function<void(DiagOnCANReprog&)>& start)
    : reprog_(std::move(reprog)), channel_(std::make_shared<Channel>()) {
  reprog_->OnXMLReady([channel = channel_](const std::shared_ptr<IXMLDOMNode>& node, bool& cancel) {
    cancel = !channel->Push(node);
  });
  try {
    start(*reprog_);
  } catch (...) {
    reprog_->OnXMLReady({});
    throw;
  }
}

std::shared_ptr<DOMDocument> Transfer::Next(std::chrono::milliseconds timeout) {
  if (state_ != State::kRunning) {
    return nullptr;
  }
  const auto node = channel_->Pop(timeout);
  if (!node) {
    return nullptr;
  }
  if (*node) {
    return Count(*node);
  }
  End();
  return nullptr;
}

std::shared_ptr<DOMDocument> Transfer::Count(const std::shared_ptr<IXMLDOMNode>& node) {
  auto document = std::dynamic_pointer_cast<DOMDocument>(node);
  const auto bytes = document ? BytesCoveredBy(*document) : std::nullopt;
  if (!bytes) {
    Cancel();
    state_ = State::kFailed;
    error_.emplace(error_number::kTypeMismatch,
                   "a transfer document does not say how many bytes it covers");
    return nullptr;
  }
  covered_ += *bytes;
  return document;
}

void Transfer::End() {
  error_ = channel_->TakeError();
  // D25.
  state_ = error_ || covered_ != size_ ? State::kFailed : State::kComplete;
}

void Transfer::Cancel() {
  if (!channel_) {
    return;
  }
  // What the worker computes meanwhile would otherwise reach the next handler of the object.
  channel_->Close();
  reprog_->OnXMLReady({});
  channel_.reset();
  if (state_ == State::kRunning) {
    state_ = State::kCancelled;
  }
}

}  // namespace quillmark::host
