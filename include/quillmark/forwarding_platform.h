// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string_view>
#include <utility>

#include "quillmark/error.h"
#include "quillmark/platform.h"

namespace quillmark {

/// Passes every operation on to another platform. A host derives from it to replace some types of
/// a platform and to keep the others.
///
/// A worker that the other platform starts is made on that platform, and uses its types. To give
/// workers the types of the derived class, register `DiagOnCANReprog::kProgID` with the other
/// platform, as the example own_types does.
class ForwardingPlatform : public Platform {
 public:
  /// Raises 91 without a platform.
  explicit ForwardingPlatform(std::shared_ptr<Platform> platform) : platform_(std::move(platform)) {
    if (!platform_) {
      throw Error(error_number::kObjectNotSet);
    }
  }

  [[nodiscard]] std::shared_ptr<DOMDocument> CreateDOMDocument() override {
    return platform_->CreateDOMDocument();
  }
  [[nodiscard]] std::shared_ptr<FreeThreadedDOMDocument> CreateFreeThreadedDOMDocument() override {
    return platform_->CreateFreeThreadedDOMDocument();
  }
  [[nodiscard]] std::shared_ptr<ByteString> CreateByteString() override {
    return platform_->CreateByteString();
  }
  [[nodiscard]] std::shared_ptr<MemoryImage> CreateMemoryImage() override {
    return platform_->CreateMemoryImage();
  }
  [[nodiscard]] std::shared_ptr<MemoryMap> CreateMemoryMap() override {
    return platform_->CreateMemoryMap();
  }
  [[nodiscard]] std::shared_ptr<ChecksumCalculator> CreateChecksumCalculator() override {
    return platform_->CreateChecksumCalculator();
  }
  [[nodiscard]] std::int32_t StartThread(std::string_view progID, ParameterList parameters,
                                         const std::shared_ptr<Object>& client) override {
    return platform_->StartThread(progID, parameters, client);
  }

 private:
  std::shared_ptr<Platform> platform_;
};

}  // namespace quillmark
