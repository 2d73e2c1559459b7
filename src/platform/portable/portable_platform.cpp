// SPDX-License-Identifier: MIT
#include <new>
#include <thread>
#include <utility>

#include "base/guards.h"
#include "platform/portable/memory_byte_string.h"
#include "platform/portable/node_objects.h"
#include "platform/portable/portable_platform_factory.h"
#include "platform/portable/range_map.h"
#include "platform/portable/segment_image.h"
#include "platform/portable/sum_checksum_calculator.h"
#include "platform/workers/class_registry.h"

namespace quillmark::portable {
namespace {

/// Documents of some megabytes come and go, and the C library would give their memory back to the
/// system each time, only to ask for it again. It stops doing so once it has seen a block of this
/// size end. Without it, an upload of 4 MiB in plain CAN form takes 97,000 page faults instead of
/// some, and three times as long.
void KeepFreedMemory() {
  constexpr std::size_t kDocumentMemory = std::size_t{8} << 20U;
  ::operator delete(::operator new(kDocumentMemory, std::nothrow));
}

template <typename Interface, typename Type>
std::shared_ptr<Interface> New() {
  return GuardMemory([] { return std::make_shared<Type>(); });
}

class NativePlatform final : public PortablePlatform,
                             public std::enable_shared_from_this<NativePlatform> {
 public:
  explicit NativePlatform(workers::ThreadLauncher launcher)
      : launcher_(std::move(launcher)), workers_(std::make_shared<workers::WorkerCounts>()) {}

  [[nodiscard]] std::shared_ptr<DOMDocument> CreateDOMDocument() override { return NewDocument(); }

  [[nodiscard]] std::shared_ptr<FreeThreadedDOMDocument> CreateFreeThreadedDOMDocument() override {
    return NewFreeThreadedDocument();
  }

  [[nodiscard]] std::shared_ptr<ByteString> CreateByteString() override {
    return New<ByteString, MemoryByteString>();
  }

  [[nodiscard]] std::shared_ptr<MemoryImage> CreateMemoryImage() override {
    return New<MemoryImage, SegmentImage>();
  }

  [[nodiscard]] std::shared_ptr<MemoryMap> CreateMemoryMap() override {
    return New<MemoryMap, RangeMap>();
  }

  [[nodiscard]] std::shared_ptr<ChecksumCalculator> CreateChecksumCalculator() override {
    return New<ChecksumCalculator, SumChecksumCalculator>();
  }

  [[nodiscard]] std::int32_t StartThread(std::string_view progID, ParameterList parameters,
                                         const std::shared_ptr<Object>& client) override {
    try {
      workers::WorkerTask task{[platform = shared_from_this(), name = std::string(progID)] {
                                 return platform->registry_.Create(name, platform);
                               },
                               client};
      return workers::StartWorker(launcher_, std::move(task), parameters, workers_);
    } catch (const std::bad_alloc&) {
      return kThreadNotStarted;
    }
  }

  void RegisterClass(std::string progID, ClassFactory factory) override {
    GuardMemory([&] { registry_.Register(std::move(progID), std::move(factory)); });
  }

  [[nodiscard]] std::size_t RunningWorkers() const override { return workers_->All().Value(); }

  void WaitForWorkers() const override {
    // Held separately, since the platform may be destroyed before the wait is over.
    const std::shared_ptr<workers::WorkerCounts> running = workers_;
    running->All().WaitForZero();
  }

  void WaitForWorkers(const Object& client) const override {
    // In a forked child another thread of the parent may have held the lock of the counts.
    if (RunningWorkers() != 0) {
      workers_->Of(&client)->WaitForZero();
    }
  }

 private:
  workers::ThreadLauncher launcher_;
  std::shared_ptr<workers::WorkerCounts> workers_;
  workers::ClassRegistry registry_;
};

}  // namespace

void LaunchDetachedThread(std::function<void()> function) {
  std::thread([run = std::move(function)] {
    KeepFreedMemory();
    run();
  }).detach();
}

}  // namespace quillmark::portable

namespace quillmark {

std::shared_ptr<PortablePlatform> MakePortablePlatform(workers::ThreadLauncher launcher) {
  return GuardMemory(
      [&] { return std::make_shared<portable::NativePlatform>(std::move(launcher)); });
}

}  // namespace quillmark
