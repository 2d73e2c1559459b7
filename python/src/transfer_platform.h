// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <utility>

#include "quillmark/platform.h"
#include "quillmark/portable_platform.h"

namespace quillmark::python {

/// The platform of all objects of the module. It is never destroyed, since the process may end
/// while objects live.
[[nodiscard]] const std::shared_ptr<PortablePlatform>& SharedPlatform();

/// The shared platform as one object sees it: a transfer reports to a client of its own instead of
/// the object, so that several may run at once, each with its own handler.
class TransferPlatform : public Platform {
 public:
  /// Who receives the documents of the next worker.
  void SetClient(std::shared_ptr<Object> client) { client_ = std::move(client); }

  [[nodiscard]] std::shared_ptr<DOMDocument> CreateDOMDocument() override;
  [[nodiscard]] std::shared_ptr<FreeThreadedDOMDocument> CreateFreeThreadedDOMDocument() override;
  [[nodiscard]] std::shared_ptr<ByteString> CreateByteString() override;
  [[nodiscard]] std::shared_ptr<MemoryImage> CreateMemoryImage() override;
  [[nodiscard]] std::shared_ptr<MemoryMap> CreateMemoryMap() override;
  [[nodiscard]] std::shared_ptr<ChecksumCalculator> CreateChecksumCalculator() override;
  [[nodiscard]] std::int32_t StartThread(std::string_view progID, ParameterList parameters,
                                         const std::shared_ptr<Object>& object) override;

 private:
  std::shared_ptr<Object> client_;
};

}  // namespace quillmark::python
