// SPDX-License-Identifier: MIT
#include <utility>

#include "base/guards.h"
#include "platform/portable/memory_byte_string.h"
#include "platform/portable/portable_platform_factory.h"
#include "platform/portable/reference_types.h"

namespace quillmark::portable {
namespace {

template <typename Interface, typename Type>
std::shared_ptr<Interface> New() {
  return GuardMemory([] { return std::make_shared<Type>(); });
}

class NativePlatform final : public PortablePlatform,
                             public std::enable_shared_from_this<NativePlatform> {
 public:
  explicit NativePlatform(workers::ThreadLauncher launcher) : workers_(std::move(launcher)) {}

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
    return workers_.Start(shared_from_this(), progID, parameters, client);
  }

  void RegisterClass(std::string progID, ClassFactory factory) override {
    GuardMemory([&] { workers_.Register(std::move(progID), std::move(factory)); });
  }

  [[nodiscard]] std::size_t RunningWorkers() const override { return workers_.Running(); }

  void WaitForWorkers() const override { workers_.WaitForAll(); }

  void WaitForWorkers(const Object& client) const override { workers_.WaitForThoseOf(client); }

 private:
  workers::Workers workers_;
};

}  // namespace

}  // namespace quillmark::portable

namespace quillmark {

std::shared_ptr<PortablePlatform> MakePortablePlatform(workers::ThreadLauncher launcher) {
  return GuardMemory(
      [&] { return std::make_shared<portable::NativePlatform>(std::move(launcher)); });
}

}  // namespace quillmark
