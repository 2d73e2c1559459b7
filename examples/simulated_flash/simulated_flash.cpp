// SPDX-License-Identifier: MIT
// Flashes an image file into a simulated ECU with the host library, then reads the memory from
// the image's first to its last address back into a raw binary.
//
//     simulated_flash can|gateway|kline IMAGE OUTPUT
#include <cstdint>
#include <iostream>
#include <memory>
#include <string>

#include "quillmark/host/files.h"
#include "quillmark/host/image_file.h"
#include "quillmark/host/programmer.h"
#include "quillmark/host/simulated_bus.h"
#include "quillmark/host/simulated_ecu.h"
#include "quillmark/quillmark.h"

namespace {

using namespace quillmark;

host::EcuOptions EcuOf(const std::string& form) {
  host::EcuOptions options;
  options.form = host::TransportFormOfName(form).value();
  options.address = options.form == host::TransportForm::kGateway ? 0x6E : 0x11;
  return options;
}

std::shared_ptr<MemoryMap> MakeMap(Platform& platform, const host::ImageSegments& segments) {
  const host::ImageSegment& last = segments.back();
  const auto begin = static_cast<std::int32_t>(segments.front().address);
  const auto end = static_cast<std::int32_t>(last.address + last.bytes.size());
  auto map = platform.CreateMemoryMap();
  map->AddRange(begin, end - begin);
  return map;
}

void WriteBinary(const MemoryImage& image, const std::string& path) {
  host::OutputFile file(path, host::Existing::kReplaced);
  host::WriteImage(file.stream(), host::ImageFormat::kRawBinary, host::SegmentsOf(image, path),
                   0xFF);
  file.Commit();
}

void Run(const std::string& form, const std::string& image_path, const std::string& output_path) {
  const host::EcuOptions options = EcuOf(form);
  const host::ImageSegments segments = host::ReadImageFile(image_path, std::nullopt).segments;
  const auto platform = CreatePortablePlatform();
  host::SimulatedEcu ecu(options);
  host::SimulatedBus bus(ecu);
  host::Programmer programmer(platform, bus, host::ConfigFor(options));
  programmer.Program(host::ImageOf(segments, *platform), {});
  WriteBinary(*programmer.Read(MakeMap(*platform, segments)), output_path);
  platform->WaitForWorkers();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::cerr << "usage: simulated_flash can|gateway|kline IMAGE OUTPUT\n";
    return 64;
  }
  try {
    Run(argv[1], argv[2], argv[3]);
  } catch (const std::exception& error) {
    std::cerr << "simulated_flash: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
