// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <span>
#include <vector>

#include "host/image/record_files.h"
#include "host/image/record_text.h"

namespace quillmark::host {
namespace {

enum RecordType : std::uint8_t {
  kData = 0x00,
  kEnd = 0x01,
  kSegmentAddress = 0x02,
  kSegmentEntry = 0x03,
  kLinearAddress = 0x04,
  kLinearEntry = 0x05,
};

constexpr std::size_t kHeaderSize = 4;  // length, offset, type
constexpr std::size_t kFrameSize = kHeaderSize + 1;
constexpr std::uint32_t kSegmentSize = 0x10000;

struct Record {
  std::uint16_t offset;
  std::uint8_t type;
  std::span<const std::uint8_t> data;  // until the next record is read
};

std::uint8_t ChecksumOf(std::span<const std::uint8_t> bytes) {
  return static_cast<std::uint8_t>(0x100U - std::accumulate(bytes.begin(), bytes.end(), 0U) % 256);
}

class Reader {
 public:
  Reader(std::string_view text, std::string_view file)
      : lines_(text), file_(file), image_(std::string(file)) {}

  ImageContent Read() {
    const bool ended =
        ReadToEndRecord(lines_, file_, [this](const RecordLine& line) { return Take(line); });
    if (!ended) {
      throw DamagedImage(file_, lines_.LastLine(),
                         "missing end record: expected \":00000001FF\" before the end of the file");
    }
    return image_.Finish();
  }

 private:
  // True for the end record.
  bool Take(const RecordLine& line) {
    const Record record = Parse(line);
    switch (record.type) {
      case kData:
        AddData(line, record);
        return false;
      case kEnd:
        RequireSize(line, record, 0);
        return true;
      case kSegmentAddress:
        RequireSize(line, record, 2);
        base_ = BigEndian(record.data, 0, 2) << 4U;
        segmented_ = true;
        return false;
      case kLinearAddress:
        RequireSize(line, record, 2);
        base_ = BigEndian(record.data, 0, 2) << 16U;
        segmented_ = false;
        return false;
      case kSegmentEntry:
      case kLinearEntry:
        RequireSize(line, record, 4);
        return false;
      default:
        Raise(line, fmt::format("expected a record type from 00 to 05, found {:02X}", record.type));
    }
  }

  Record Parse(const RecordLine& line) {
    if (line.text.front() != ':') {
      Raise(line, fmt::format("expected ':' at the start of a record, found {}",
                              Printable(line.text.front())));
    }
    ParseRecordHex(file_, line, 2, bytes_);
    const std::span<const std::uint8_t> bytes = bytes_;
    if (bytes.size() < kFrameSize) {
      Raise(line, fmt::format("expected a record of at least {} bytes, found {}", kFrameSize,
                              bytes.size()));
    }
    const std::size_t size = bytes.size() - kFrameSize;
    if (bytes[0] != size) {
      Raise(line,
            fmt::format("expected {} data bytes as the record says, found {}", bytes[0], size));
    }
    const std::uint8_t checksum = ChecksumOf(bytes.first(bytes.size() - 1));
    if (bytes.back() != checksum) {
      Raise(line,
            fmt::format("wrong checksum: expected {:02X}, found {:02X}", checksum, bytes.back()));
    }
    return {static_cast<std::uint16_t>(BigEndian(bytes, 1, 2)), bytes[3],
            bytes.subspan(kHeaderSize, size)};
  }

  void AddData(const RecordLine& line, const Record& record) {
    const std::size_t room = segmented_ ? kSegmentSize - record.offset : record.data.size();
    const std::size_t before_wrap = std::min(room, record.data.size());
    image_.Add(base_ + record.offset, record.data.first(before_wrap), line.number);
    image_.Add(base_, record.data.subspan(before_wrap), line.number);
  }

  void RequireSize(const RecordLine& line, const Record& record, std::size_t size) const {
    if (record.data.size() != size) {
      Raise(line, fmt::format("expected {} data bytes in a record of type {:02X}, found {}", size,
                              record.type, record.data.size()));
    }
  }

  [[noreturn]] void Raise(const RecordLine& line, std::string_view reason) const {
    throw DamagedImage(file_, line.number, reason);
  }

  RecordLines lines_;
  std::string_view file_;
  std::vector<std::uint8_t> bytes_;  // of the record read last
  ImageBuilder image_;
  std::uint32_t base_ = 0;
  bool segmented_ = false;
};

void WriteRecord(std::ostream& out, RecordType type, std::uint16_t offset,
                 std::span<const std::uint8_t> data) {
  std::vector<std::uint8_t> bytes = {static_cast<std::uint8_t>(data.size()),
                                     static_cast<std::uint8_t>(offset >> 8U),
                                     static_cast<std::uint8_t>(offset), type};
  bytes.insert(bytes.end(), data.begin(), data.end());
  bytes.push_back(ChecksumOf(bytes));
  out << fmt::format(":{:02X}\n", fmt::join(bytes, ""));
}

void WriteLinearAddress(std::ostream& out, std::uint32_t high) {
  const std::uint8_t data[] = {static_cast<std::uint8_t>(high >> 8U),
                               static_cast<std::uint8_t>(high)};
  WriteRecord(out, kLinearAddress, 0, data);
}

}  // namespace

ImageContent ReadIntelHex(std::string_view text, std::string_view file) {
  return Reader(text, file).Read();
}

void WriteIntelHex(std::ostream& out, const ImageSegments& segments, std::size_t bytes_per_record) {
  std::uint32_t high = 0;
  for (const ImageSegment& segment : segments) {
    std::span<const std::uint8_t> rest = segment.bytes;
    std::uint32_t address = segment.address;
    while (!rest.empty() && out) {
      if (address >> 16U != high) {
        high = address >> 16U;
        WriteLinearAddress(out, high);
      }
      const std::size_t room = kSegmentSize - address % kSegmentSize;
      const std::size_t size = std::min({rest.size(), bytes_per_record, room});
      WriteRecord(out, kData, static_cast<std::uint16_t>(address), rest.first(size));
      rest = rest.subspan(size);
      address += static_cast<std::uint32_t>(size);
    }
  }
  WriteRecord(out, kEnd, 0, {});
}

}  // namespace quillmark::host
