// SPDX-License-Identifier: MIT
#include <utility>

#include "platform/windows/host_types.h"

namespace quillmark::windows {
namespace {

class HostChecksumCalculator final : public HostBacked<ChecksumCalculator> {
 public:
  using HostBacked::HostBacked;

  void Reset() override { object().Call(HostMember::kReset); }

  void Add(const ByteString& data) override { object().Call(HostMember::kAdd, ArgumentOf(data)); }

  void StoreInto(ByteString& block) override {
    const com::Variant string = ArgumentOf(block);
    object().Call(HostMember::kStoreInto, string);
    if (dynamic_cast<const ComBacked*>(&block) == nullptr) {
      // For a string of another platform, the host library has written into a copy.
      block.Assign(*WrapByteString(ObjectIn(string)));
    }
  }
};

}  // namespace

std::shared_ptr<ChecksumCalculator> NewHostChecksumCalculator() {
  return std::make_shared<HostChecksumCalculator>(
      HostObject::Create(L"Vantrel.ChecksumCalculator"));
}

std::shared_ptr<ChecksumCalculator> WrapChecksumCalculator(com::ComPtr<IDispatch> object) {
  return object ? std::make_shared<HostChecksumCalculator>(HostObject::Of(std::move(object)))
                : nullptr;
}

}  // namespace quillmark::windows
