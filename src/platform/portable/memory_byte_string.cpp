// SPDX-License-Identifier: MIT
#include "platform/portable/memory_byte_string.h"

#include <algorithm>
#include <numeric>
#include <typeinfo>
#include <utility>

#include "base/checked.h"
#include "base/guards.h"
#include "quillmark/error.h"

namespace quillmark::portable {
namespace {

[[noreturn]] void RaiseOutside() { throw Error(error_number::kSubscriptOutOfRange); }

/// Address of the last of `length` bytes from `start` on.
std::int32_t EndOf(std::int32_t start, std::int64_t length) {
  return checked::Convert<std::int32_t>(start + length - 1);
}

/// Raises 6 if a byte would have no address. An empty string may start anywhere.
void RequireAddresses(std::int32_t start, std::int64_t length) {
  if (length > 0) {
    static_cast<void>(EndOf(start, length));
  }
}

}  // namespace

MemoryByteString::MemoryByteString(std::shared_ptr<Storage> storage, std::size_t offset,
                                   std::optional<std::size_t> count)
    : shared_(std::move(storage)),
      storage_(shared_.get()),
      is_whole_(false),
      offset_(offset),
      count_(count) {}

const MemoryByteString* MemoryByteString::From(const ByteString& string) {
  // The class is final, so comparing the type is enough, without a dynamic cast.
  return typeid(string) == typeid(MemoryByteString) ? static_cast<const MemoryByteString*>(&string)
                                                    : nullptr;
}

MemoryByteString* MemoryByteString::From(ByteString& string) {
  return const_cast<MemoryByteString*>(From(std::as_const(string)));
}

template <typename Span>
Span MemoryByteString::PartOf(Span whole) const {
  const std::size_t size = whole.size();
  if (offset_ > size || count_.value_or(0) > size - offset_) {
    RaiseOutside();
  }
  return whole.subspan(offset_, count_.value_or(size - offset_));
}

ByteView MemoryByteString::View() const { return PartOf(storage_->bytes.View()); }

std::span<std::uint8_t> MemoryByteString::WritableView() {
  return PartOf(storage_->bytes.Writable());
}

SharedBytes MemoryByteString::Share() const {
  if (is_whole_) {
    return storage_->bytes;
  }
  const ByteView bytes = View();
  return SharedBytes(Bytes(bytes.begin(), bytes.end()));
}

std::size_t MemoryByteString::IndexOf(std::int32_t position) const {
  const std::int64_t index = std::int64_t{position} - StartAddress();
  if (index < 0 || index >= Length()) {
    RaiseOutside();
  }
  return static_cast<std::size_t>(index);
}

std::int32_t MemoryByteString::Length() const { return static_cast<std::int32_t>(View().size()); }

void MemoryByteString::SetLength(std::int32_t length) {
  const std::int32_t current = Length();
  if (length < 0 || (count_.has_value() && length != current)) {
    RaiseOutside();
  }
  if (length != current) {
    Resize(length);
  }
}

void MemoryByteString::Resize(std::int64_t length) {
  const std::int64_t whole_length = static_cast<std::int64_t>(offset_) + length;
  static_cast<void>(checked::Convert<std::int32_t>(whole_length));
  RequireAddresses(storage_->start_address, whole_length);
  GuardMemory([&] { storage_->bytes.Resize(static_cast<std::size_t>(whole_length)); });
}

std::uint8_t MemoryByteString::Item(std::int32_t position) const {
  return View()[IndexOf(position)];
}

void MemoryByteString::SetItem(std::int32_t position, std::uint8_t value) {
  const std::size_t index = IndexOf(position);
  GuardMemory([&] { WritableView()[index] = value; });
}

std::shared_ptr<ByteString> MemoryByteString::Mid(std::int32_t start, std::int32_t count) {
  const std::int64_t available = Length();
  const std::int64_t index = std::int64_t{start} - StartAddress();
  if (index < 0 || count < 0 || index + count > available) {
    RaiseOutside();
  }
  const auto from = static_cast<std::size_t>(index);
  std::optional<std::size_t> view_count;
  if (count > 0) {
    view_count = static_cast<std::size_t>(count);
  } else if (count_.has_value()) {
    view_count = *count_ - from;
  }
  return GuardMemory([&] {
    if (shared_ == nullptr) {
      shared_ = std::make_shared<Storage>(std::move(own_));
      storage_ = shared_.get();
    }
    return std::make_shared<MemoryByteString>(shared_, offset_ + from, view_count);
  });
}

std::shared_ptr<ByteString> MemoryByteString::Clone() const {
  return GuardMemory([&] {
    auto clone = std::make_shared<MemoryByteString>();
    clone->own_ = {Share(), StartAddress()};
    return clone;
  });
}

void MemoryByteString::Assign(const ByteString& source) {
  GuardMemory([&] {
    const auto* own = From(source);
    if (own != nullptr && (own->is_whole_ || own->storage_ == storage_)) {
      AssignShared(own->Share());
      return;
    }
    source.ReadBytes([&](ByteView bytes) { AssignBytes(bytes); });
  });
}

void MemoryByteString::AssignShared(SharedBytes bytes) {
  if (!is_whole_) {
    AssignBytes(bytes.View());
    return;
  }
  RequireAddresses(storage_->start_address, checked::Convert<std::int32_t>(bytes.View().size()));
  storage_->bytes = std::move(bytes);
}

void MemoryByteString::AssignBytes(ByteView source) {
  const std::size_t length = View().size();
  if (!count_.has_value() && source.size() != length) {
    Resize(checked::Convert<std::int32_t>(source.size()));
  }
  const std::span<std::uint8_t> target = WritableView();
  std::copy_n(source.begin(), std::min(source.size(), target.size()), target.begin());
}

std::int32_t MemoryByteString::Checksum() const {
  const ByteView bytes = View();
  return checked::Convert<std::int32_t>(
      std::accumulate(bytes.begin(), bytes.end(), std::int64_t{0}));
}

std::string MemoryByteString::Hex() const {
  return GuardMemory([&] { return HexOf(View()); });
}

void MemoryByteString::SetHex(std::string_view text) {
  GuardMemory([&] {
    // Moved, not copied: the bytes of a whole memory segment pass through here.
    AssignShared(SharedBytes(BytesOfHex(text)));
  });
}

void MemoryByteString::ReadBytes(const std::function<void(ByteView)>& read) const { read(View()); }

void MemoryByteString::SetBytes(ByteView bytes) {
  GuardMemory([&] { AssignBytes(bytes); });
}

std::int32_t MemoryByteString::StartAddress() const {
  return is_whole_ ? storage_->start_address : 1;
}

void MemoryByteString::SetStartAddress(std::int32_t address) {
  if (!is_whole_ && address != 1) {
    RaiseOutside();
  }
  RequireAddresses(address, Length());
  if (is_whole_) {
    storage_->start_address = address;
  }
}

std::int32_t MemoryByteString::EndAddress() const { return EndOf(StartAddress(), Length()); }

std::int32_t MemoryByteString::FillRunLength(std::uint8_t fill, std::int32_t address) const {
  const ByteView bytes = View();
  const std::int64_t index = std::int64_t{address} - StartAddress();
  if (index < 0 || index >= std::ssize(bytes)) {
    return -1;
  }
  return static_cast<std::int32_t>(FillRun(bytes.subspan(static_cast<std::size_t>(index)), fill));
}

std::size_t FillRun(ByteView bytes, std::uint8_t fill) {
  constexpr std::size_t kPartSize = 64;
  std::size_t run = 0;
  while (bytes.size() - run >= kPartSize) {
    std::uint8_t others = 0;
    for (const std::uint8_t byte : bytes.subspan(run, kPartSize)) {
      others = static_cast<std::uint8_t>(others | (byte ^ fill));
    }
    if (others != 0) {
      break;
    }
    run += kPartSize;
  }
  while (run < bytes.size() && bytes[run] == fill) {
    ++run;
  }
  return run;
}

}  // namespace quillmark::portable
