// SPDX-License-Identifier: MIT
#include "platform/windows/host_types.h"

#include <utility>

namespace quillmark::windows {
namespace {

using com::Variant;

class HostMemoryImage final : public HostBacked<MemoryImage> {
 public:
  using HostBacked::HostBacked;

  void AddSegment(const ByteString& segment) override {
    object().Call(HostMember::kAddSegment, ArgumentOf(segment));
  }

  [[nodiscard]] std::vector<std::shared_ptr<ByteString>> Segments() const override {
    std::vector<std::shared_ptr<ByteString>> segments;
    for (HostObject& segment : object().Elements()) {
      segments.push_back(MakeByteString(std::move(segment)));
    }
    return segments;
  }
};

class HostMemoryRange final : public HostBacked<MemoryRange> {
 public:
  using HostBacked::HostBacked;

  [[nodiscard]] std::int32_t Start() const override {
    return LongIn(object().Call(HostMember::kStart));
  }
  [[nodiscard]] std::int32_t Count() const override {
    return LongIn(object().Call(HostMember::kCount));
  }
};

class HostMemoryMap final : public HostBacked<MemoryMap> {
 public:
  using HostBacked::HostBacked;

  void AddRange(std::int32_t start, std::int32_t count) override {
    object().Call(HostMember::kAddRange, Variant::OfLong(start), Variant::OfLong(count));
  }

  [[nodiscard]] std::vector<std::shared_ptr<MemoryRange>> Ranges() const override {
    std::vector<std::shared_ptr<MemoryRange>> ranges;
    for (HostObject& range : object().Elements()) {
      ranges.push_back(std::make_shared<HostMemoryRange>(std::move(range)));
    }
    return ranges;
  }
};

class HostChecksumCalculator final : public HostBacked<ChecksumCalculator> {
 public:
  using HostBacked::HostBacked;

  void Reset() override { object().Call(HostMember::kReset); }

  void Add(const ByteString& data) override { object().Call(HostMember::kAdd, ArgumentOf(data)); }

  void StoreInto(ByteString& block) override {
    const Variant string = ArgumentOf(block);
    object().Call(HostMember::kStoreInto, string);
    if (dynamic_cast<const ComBacked*>(&block) == nullptr) {
      // For a string of another platform, the host's library has written into a copy.
      block.Assign(*WrapByteString(ObjectIn(string)));
    }
  }
};

}  // namespace

std::shared_ptr<MemoryImage> NewHostMemoryImage() {
  return std::make_shared<HostMemoryImage>(HostObject::Create(L"Vantrel.MemoryImage"));
}

std::shared_ptr<MemoryImage> WrapMemoryImage(com::ComPtr<IDispatch> object) {
  return object ? std::make_shared<HostMemoryImage>(HostObject::Of(std::move(object))) : nullptr;
}

std::shared_ptr<MemoryMap> NewHostMemoryMap() {
  return std::make_shared<HostMemoryMap>(HostObject::Create(L"Vantrel.MemoryMap"));
}

std::shared_ptr<MemoryMap> WrapMemoryMap(com::ComPtr<IDispatch> object) {
  return object ? std::make_shared<HostMemoryMap>(HostObject::Of(std::move(object))) : nullptr;
}

std::shared_ptr<ChecksumCalculator> NewHostChecksumCalculator() {
  return std::make_shared<HostChecksumCalculator>(
      HostObject::Create(L"Vantrel.ChecksumCalculator"));
}

std::shared_ptr<ChecksumCalculator> WrapChecksumCalculator(com::ComPtr<IDispatch> object) {
  return object ? std::make_shared<HostChecksumCalculator>(HostObject::Of(std::move(object)))
                : nullptr;
}

}  // namespace quillmark::windows
