// SPDX-License-Identifier: MIT
#include "platform/windows/windows_platform.h"

#include <utility>

#include "platform/shared/worker_threads.h"
#include "platform/windows/host_threads.h"
#include "platform/windows/host_types.h"

namespace quillmark::windows {
namespace {

class ComPlatform final : public WindowsPlatform, public std::enable_shared_from_this<ComPlatform> {
 public:
  [[nodiscard]] std::shared_ptr<DOMDocument> CreateDOMDocument() override { return NewDocument(); }
  [[nodiscard]] std::shared_ptr<FreeThreadedDOMDocument> CreateFreeThreadedDOMDocument() override {
    return NewFreeThreadedDocument();
  }
  [[nodiscard]] std::shared_ptr<ByteString> CreateByteString() override {
    return NewHostByteString();
  }
  [[nodiscard]] std::shared_ptr<MemoryImage> CreateMemoryImage() override {
    return NewHostMemoryImage();
  }
  [[nodiscard]] std::shared_ptr<MemoryMap> CreateMemoryMap() override { return NewHostMemoryMap(); }
  [[nodiscard]] std::shared_ptr<ChecksumCalculator> CreateChecksumCalculator() override {
    return NewHostChecksumCalculator();
  }

  [[nodiscard]] std::int32_t StartThread(std::string_view progID, ParameterList parameters,
                                         const std::shared_ptr<Object>& client) override {
    auto face = client_face_ ? client_face_(client) : com::ComPtr<IUnknown>();
    if (face && HasHostThreads()) {
      return StartHostThread(progID, parameters, std::move(face));
    }
    return workers_.Start(shared_from_this(), progID, parameters, client, std::move(face));
  }

  void AddClass(std::string progID, ClassFactory factory) override {
    workers_.Register(std::move(progID), std::move(factory));
  }
  void SetClientFace(ClientFace face) override { client_face_ = std::move(face); }

  [[nodiscard]] std::size_t RunningWorkers() const override { return workers_.Running(); }

  void WaitForWorkers() const override { workers_.WaitForAll(); }

 private:
  workers::Workers workers_{LaunchComThread};
  ClientFace client_face_;
};

}  // namespace
}  // namespace quillmark::windows

namespace quillmark {

std::shared_ptr<WindowsPlatform> MakeWindowsPlatform() {
  return std::make_shared<windows::ComPlatform>();
}

}  // namespace quillmark
