#include <map>
#include <mutex>
#include <utility>

#include "platform/portable/memory_byte_string.h"
#include "platform/portable/node_objects.h"
#include "platform/portable/out_of_memory.h"
#include "platform/portable/portable_platform_factory.h"
#include "platform/portable/range_map.h"
#include "platform/portable/segment_image.h"
#include "platform/portable/sum_checksum_calculator.h"

namespace quillmark::portable {
namespace {

/// The classes that a platform can create, by ProgID. May be used from several threads at once.
class ClassRegistry {
 public:
  void Register(std::string progID, PortablePlatform::ClassFactory factory) {
    const std::lock_guard lock(mutex_);
    // The factory that is replaced ends without the lock: it may hold anything.
    std::swap(factories_[std::move(progID)], factory);
  }

  /// The factory of a class, to be called without the lock; empty for an unknown one.
  [[nodiscard]] PortablePlatform::ClassFactory Find(std::string_view progID) const {
    const std::lock_guard lock(mutex_);
    const auto found = factories_.find(progID);
    return found == factories_.end() ? nullptr : found->second;
  }

 private:
  mutable std::mutex mutex_;
  std::map<std::string, PortablePlatform::ClassFactory, std::less<>> factories_;
};

template <typename Interface, typename Type>
std::shared_ptr<Interface> New() {
  return OrOutOfMemory([] { return std::make_shared<Type>(); });
}

class NativePlatform final : public PortablePlatform,
                             public std::enable_shared_from_this<NativePlatform> {
 public:
  explicit NativePlatform(ThreadLauncher launcher)
      : launcher_(std::move(launcher)), workers_(std::make_shared<WorkerCount>()) {}

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
      WorkerTask task{[platform = shared_from_this(), name = std::string(progID)] {
                        return platform->Create(name);
                      },
                      client};
      return StartWorker(launcher_, std::move(task), parameters, workers_);
    } catch (const std::bad_alloc&) {
      return kThreadNotStarted;
    }
  }

  void RegisterClass(std::string progID, ClassFactory factory) override {
    OrOutOfMemory([&] { registry_.Register(std::move(progID), std::move(factory)); });
  }

  [[nodiscard]] std::size_t RunningWorkers() const override { return workers_->Value(); }

  void WaitForWorkers() const override {
    // Held by itself, since the platform may be gone before the wait is over.
    const std::shared_ptr<WorkerCount> workers = workers_;
    workers->WaitForZero();
  }

 private:
  std::shared_ptr<Object> Create(const std::string& progID) {
    const ClassFactory factory = registry_.Find(progID);
    if (!factory) {
      throw Error(kClassNotRegistered);
    }
    return factory(shared_from_this());
  }

  ThreadLauncher launcher_;
  std::shared_ptr<WorkerCount> workers_;
  ClassRegistry registry_;
};

}  // namespace
}  // namespace quillmark::portable

namespace quillmark {

std::shared_ptr<PortablePlatform> MakePortablePlatform(portable::ThreadLauncher launcher) {
  return portable::OrOutOfMemory(
      [&] { return std::make_shared<portable::NativePlatform>(std::move(launcher)); });
}

}  // namespace quillmark
