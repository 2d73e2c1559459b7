// SPDX-License-Identifier: MIT
#include "transfer_platform.h"

namespace quillmark::python {

const std::shared_ptr<PortablePlatform>& SharedPlatform() {
  static const auto* const platform =
      new std::shared_ptr<PortablePlatform>(CreatePortablePlatform());
  return *platform;
}

std::shared_ptr<DOMDocument> TransferPlatform::CreateDOMDocument() {
  return SharedPlatform()->CreateDOMDocument();
}

std::shared_ptr<FreeThreadedDOMDocument> TransferPlatform::CreateFreeThreadedDOMDocument() {
  return SharedPlatform()->CreateFreeThreadedDOMDocument();
}

std::shared_ptr<ByteString> TransferPlatform::CreateByteString() {
  return SharedPlatform()->CreateByteString();
}

std::shared_ptr<MemoryImage> TransferPlatform::CreateMemoryImage() {
  return SharedPlatform()->CreateMemoryImage();
}

std::shared_ptr<MemoryMap> TransferPlatform::CreateMemoryMap() {
  return SharedPlatform()->CreateMemoryMap();
}

std::shared_ptr<ChecksumCalculator> TransferPlatform::CreateChecksumCalculator() {
  return SharedPlatform()->CreateChecksumCalculator();
}

std::int32_t TransferPlatform::StartThread(std::string_view progID, ParameterList parameters,
                                           const std::shared_ptr<Object>& /*object*/) {
  return SharedPlatform()->StartThread(progID, parameters, std::exchange(client_, nullptr));
}

}  // namespace quillmark::python
