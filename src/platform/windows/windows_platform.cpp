// SPDX-License-Identifier: MIT
#include "platform/windows/windows_platform.h"

#include <new>
#include <utility>

#include "platform/windows/com_thread.h"
#include "platform/windows/document_objects.h"
#include "platform/windows/host_threads.h"
#include "platform/windows/host_types.h"
#include "platform/windows/windows_platform_factory.h"
#include "platform/workers/class_registry.h"
#include "platform/workers/worker_threads.h"
#include "quillmark/portable_platform.h"

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
    return StartOwnThread(progID, parameters, client, std::move(face));
  }

  void AddClass(std::string progID, ClassFactory factory) override {
    registry_.Register(std::move(progID), std::move(factory));
  }
  void SetClientFace(ClientFace face) override { client_face_ = std::move(face); }

  [[nodiscard]] std::size_t RunningWorkers() const override { return workers_->All().Value(); }

  void WaitForWorkers() const override {
    // Held separately, since the platform may be destroyed before the wait is over.
    const std::shared_ptr<workers::WorkerCounts> running = workers_;
    running->All().WaitForZero();
  }

 private:
  [[nodiscard]] std::int32_t StartOwnThread(std::string_view progID, ParameterList parameters,
                                            const std::shared_ptr<Object>& client,
                                            com::ComPtr<IUnknown> face) {
    try {
      // The worker keeps the COM object alive with the function that creates its own object.
      workers::WorkerTask task{
          [platform = shared_from_this(), name = std::string(progID), kept = std::move(face)] {
            return platform->registry_.Create(name, platform);
          },
          client};
      return workers::StartWorker(LaunchComThread, std::move(task), parameters, workers_);
    } catch (const std::bad_alloc&) {
      return PortablePlatform::kThreadNotStarted;
    }
  }

  std::shared_ptr<workers::WorkerCounts> workers_ = std::make_shared<workers::WorkerCounts>();
  workers::ClassRegistry registry_;
  ClientFace client_face_;
};

}  // namespace
}  // namespace quillmark::windows

namespace quillmark {

std::shared_ptr<WindowsPlatform> MakeWindowsPlatform() {
  return std::make_shared<windows::ComPlatform>();
}

}  // namespace quillmark
