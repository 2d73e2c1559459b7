// SPDX-License-Identifier: MIT
#include "bench/memory.h"

#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>

#include "bench/session.h"

namespace {

thread_local std::size_t allocations = 0;

}  // namespace

extern "C" void* __libc_malloc(std::size_t size);

/// Takes the place of the C library's for the whole program; costs one increment.
extern "C" void* malloc(std::size_t size) {
  ++allocations;
  return __libc_malloc(size);
}

std::size_t quillmark::bench::AllocationsSoFar() { return allocations; }

namespace quillmark::bench {
namespace {

constexpr std::int32_t kAlignment = 16;
constexpr std::int32_t kMaxSize = 128;

struct ClosePipe {
  void operator()(std::FILE* pipe) const { ::pclose(pipe); }
};

/// The segment is filled in place, so that no second copy of the image counts.
std::shared_ptr<MemoryImage> MakeImageInPlace(const Session& session, std::size_t size) {
  auto image = session.GetPlatform().CreateMemoryImage();
  image->AddSegment(*session.GetPlatform().CreateByteString());
  const auto segment = image->Segments().front();
  segment->SetLength(static_cast<std::int32_t>(size));
  segment->SetStartAddress(0);
  std::uint32_t value = 1;
  for (std::int32_t at = 0; at <= segment->EndAddress(); ++at) {
    value = value * 1664525 + 1013904223;
    segment->SetItem(at, static_cast<std::uint8_t>(value >> 24U));
  }
  return image;
}

/// From the kernel's status of this process: getrusage() would count what the parent held when it
/// forked.
std::string PeakInKibibytes() {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    if (word == "VmHWM:" && status >> word) {
      return word;
    }
  }
  throw std::runtime_error("the kernel gives no peak of this process's memory");
}

}  // namespace

int RunPeakMemoryChild(const std::vector<std::string_view>& arguments) {
  Session session(kPlainCan);
  const auto image = MakeImageInPlace(session, std::stoul(std::string(arguments.at(1))));
  session.Download(image, kAlignment, kMaxSize);
  std::cout << PeakInKibibytes() << '\n';
  return EXIT_SUCCESS;
}

double PeakMemoryOfDownload(std::size_t image_size) {
  const std::string command = "exec /proc/" + std::to_string(::getpid()) + "/exe " +
                              std::string(kPeakMemoryOption) + " " + std::to_string(image_size);
  const std::unique_ptr<std::FILE, ClosePipe> pipe(::popen(command.c_str(), "r"));
  long kibibytes = 0;
  if (pipe == nullptr || std::fscanf(pipe.get(), "%ld", &kibibytes) != 1) {
    throw std::runtime_error("the process that measures memory gave no number");
  }
  return static_cast<double>(kibibytes) * 1024;
}

}  // namespace quillmark::bench
