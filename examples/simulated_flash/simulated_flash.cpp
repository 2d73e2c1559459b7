// SPDX-License-Identifier: MIT
// Flashes an image file into a simulated ECU with the reference host, then reads the memory from
// the image's first to its last address back into a raw binary.
//
//     simulated_flash can|gateway|kline IMAGE OUTPUT
#include <cstdint>
#include <iostream>
#include <map>
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

struct Ecu {
  host::EcuOptions options;
  host::ProgrammerConfig config;
};

Ecu MakeEcu(host::TransportForm form) {
  Ecu ecu;
  ecu.options.form = ecu.config.form = form;
  if (form == host::TransportForm::kPlainCan) {
    ecu.config.receive_id = static_cast<std::int32_t>(ecu.options.reply_id);
    ecu.config.send_id = static_cast<std::int32_t>(ecu.options.request_id);
  } else {
    ecu.options.address = form == host::TransportForm::kGateway ? 0x6E : 0x11;
    ecu.config.address = ecu.options.address;
  }
  ecu.config.check_routine = ecu.options.check_routine;
  ecu.config.key = host::SimulatedKey;
  return ecu;
}

std::shared_ptr<MemoryImage> MakeImage(Platform& platform, const host::ImageSegments& segments) {
  auto image = platform.CreateMemoryImage();
  for (const host::ImageSegment& segment : segments) {
    const auto bytes = platform.CreateByteString();
    bytes->SetHex(host::HexOf(segment.bytes));
    bytes->SetStartAddress(static_cast<std::int32_t>(segment.address));
    image->AddSegment(*bytes);
  }
  return image;
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
  std::string content;
  for (const auto& piece : image.Segments()) {
    const host::Bytes bytes = host::BytesOfHex(piece->Hex()).value();
    content.append(bytes.begin(), bytes.end());
  }
  host::WriteFile(path, content);
}

void Run(const std::string& form, const std::string& image_path, const std::string& output_path) {
  static const std::map<std::string, host::TransportForm> kForms = {
      {"can", host::TransportForm::kPlainCan},
      {"gateway", host::TransportForm::kGateway},
      {"kline", host::TransportForm::kKLine}};
  const host::ImageFile file = host::ReadImageFile(image_path, std::nullopt);
  const Ecu made = MakeEcu(kForms.at(form));

  const auto platform = CreatePortablePlatform();
  host::SimulatedEcu ecu(made.options);
  host::SimulatedBus bus(ecu);
  host::Programmer programmer(platform, bus, made.config);
  programmer.Program(MakeImage(*platform, file.segments), {});
  WriteBinary(*programmer.Read(MakeMap(*platform, file.segments)), output_path);
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
