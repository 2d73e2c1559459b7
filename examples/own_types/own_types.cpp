// SPDX-License-Identifier: MIT
// A host with types of its own: its byte string, and the checksum that its ECU wants of a block.
// Everything else is the library's. Prints the download of eight bytes.
#include <cstdint>
#include <iostream>
#include <memory>
#include <string_view>
#include <utility>

#include "own_byte_string.h"
#include "quillmark/quillmark.h"

namespace {

// [checksum]
// CRC-16 as in CCITT's X.25: polynomial 0x1021 bit-reversed, start and end inverted, low byte
// first.
class X25Checksum : public quillmark::ChecksumCalculator {
 public:
  void Reset() override { crc_ = 0xFFFF; }

  void Add(const quillmark::ByteString& data) override {
    data.ReadBytes([this](std::span<const std::uint8_t> bytes) {
      for (const std::uint8_t byte : bytes) {
        AddByte(byte);
      }
    });
  }

  void StoreInto(quillmark::ByteString& block) override {
    const std::int32_t last = block.EndAddress();
    block.SetItem(last - 1, static_cast<std::uint8_t>(~crc_ & 0xFFU));
    block.SetItem(last, static_cast<std::uint8_t>(~crc_ >> 8U & 0xFFU));
  }

 private:
  void AddByte(std::uint8_t byte) {
    crc_ ^= byte;
    for (int bit = 0; bit < 8; ++bit) {
      crc_ = crc_ >> 1U ^ ((crc_ & 1U) != 0 ? 0x8408U : 0U);
    }
  }

  std::uint32_t crc_ = 0xFFFF;
};
// [checksum]

// [platform]
// The portable platform with two of its types replaced.
class OwnPlatform : public quillmark::ForwardingPlatform,
                    public std::enable_shared_from_this<OwnPlatform> {
 public:
  explicit OwnPlatform(std::shared_ptr<quillmark::PortablePlatform> portable)
      : ForwardingPlatform(portable), portable_(std::move(portable)) {}

  std::shared_ptr<quillmark::ByteString> CreateByteString() override {
    return std::make_shared<example::OwnByteString>();
  }
  std::shared_ptr<quillmark::ChecksumCalculator> CreateChecksumCalculator() override {
    return std::make_shared<X25Checksum>();
  }

  // A worker builds its blocks on a platform too. The portable one would give it its own types, so
  // the worker's class is registered again, to be created on this platform, which lives as long as
  // the worker.
  std::int32_t StartThread(std::string_view progID, quillmark::ParameterList parameters,
                           const std::shared_ptr<quillmark::Object>& client) override {
    portable_->RegisterClass(
        std::string(quillmark::DiagOnCANReprog::kProgID),
        [self = weak_from_this()](const std::shared_ptr<quillmark::Platform>&) {
          return quillmark::CreateDiagOnCANReprog(self.lock());
        });
    return portable_->StartThread(progID, parameters, client);
  }

  void WaitForWorkers() const { portable_->WaitForWorkers(); }

 private:
  std::shared_ptr<quillmark::PortablePlatform> portable_;
};
// [platform]

void Run() {
  const auto platform = std::make_shared<OwnPlatform>(quillmark::CreatePortablePlatform());
  const auto segment = platform->CreateByteString();
  segment->SetHex("0102030405060708");
  segment->SetStartAddress(0x8000);
  const auto image = platform->CreateMemoryImage();
  image->AddSegment(*segment);

  const auto reprog = quillmark::CreateDiagOnCANReprog(platform);
  reprog->CANIDs(0, 0x11);  // a K line, where a block is one line of the document
  reprog->OnXMLReady([](const std::shared_ptr<quillmark::IXMLDOMNode>& node, bool& cancel) {
    if (node != nullptr) {
      std::cout << node->xml() << '\n';
    }
    cancel = false;
  });
  reprog->ComputeDownload(0x01, image, 0xFF, 16, 128);
  platform->WaitForWorkers();
}

}  // namespace

int main() {
  try {
    Run();
  } catch (const quillmark::Error& error) {
    std::cerr << "error " << error.Number() << ": " << error.Description() << '\n';
    return 1;
  }
  return 0;
}
