// SPDX-License-Identifier: MIT
#include "platform/portable/shared_bytes.h"

#include <algorithm>
#include <atomic>
#include <utility>

#include "base/large_pages.h"

namespace quillmark::portable {

struct SharedBytes::Block {
  explicit Block(Bytes shared) : bytes(std::move(shared)) {}

  std::atomic<std::size_t> users = 1;
  Bytes bytes;
};

SharedBytes::SharedBytes(Bytes bytes) {
  if (bytes.size() > kFew) {
    many_ = new Block(std::move(bytes));
    return;
  }
  std::copy(bytes.begin(), bytes.end(), few_.begin());
  few_size_ = bytes.size();
}

SharedBytes::SharedBytes(const SharedBytes& other)
    : few_(other.few_), few_size_(other.few_size_), many_(other.many_) {
  if (many_ != nullptr) {
    many_->users.fetch_add(1, std::memory_order_relaxed);
  }
}

SharedBytes::SharedBytes(SharedBytes&& other) noexcept { Swap(other); }

SharedBytes& SharedBytes::operator=(SharedBytes other) noexcept {
  Swap(other);
  return *this;
}

SharedBytes::~SharedBytes() {
  // Release, so that a remaining user may write; acquire, so that all reads have finished.
  if (many_ != nullptr && many_->users.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    delete many_;
  }
}

void SharedBytes::Swap(SharedBytes& other) noexcept {
  std::swap(few_, other.few_);
  std::swap(few_size_, other.few_size_);
  std::swap(many_, other.many_);
}

bool SharedBytes::IsSole() const {
  // The count says that nobody else will read; only together with the release of the last user does
  // it say that nobody still reads.
  return many_ == nullptr || many_->users.load(std::memory_order_acquire) == 1;
}

ByteView SharedBytes::View() const {
  return many_ == nullptr ? ByteView(few_.data(), few_size_) : many_->bytes;
}

std::span<std::uint8_t> SharedBytes::Writable() {
  if (!IsSole()) {
    Resize(View().size());
  }
  return many_ == nullptr ? std::span(few_.data(), few_size_) : many_->bytes;
}

void SharedBytes::Resize(std::size_t size) {
  if (many_ == nullptr && size <= kFew) {
    std::fill(few_.begin() + std::min(size, few_size_), few_.end(), std::uint8_t{0});
    few_size_ = size;
    return;
  }
  if (many_ != nullptr && IsSole()) {
    many_->bytes.resize(size);
    return;
  }
  const ByteView kept = View().first(std::min(size, View().size()));
  Bytes resized;
  resized.reserve(size);
  PreferLargePages(resized.data(), size);
  resized.assign(kept.begin(), kept.end());
  resized.resize(size);
  *this = SharedBytes(std::move(resized));
}

}  // namespace quillmark::portable
