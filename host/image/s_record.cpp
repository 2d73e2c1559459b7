// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <span>
#include <string>
#include <vector>

#include "host/image/record_files.h"
#include "host/image/record_text.h"

namespace quillmark::host {
namespace {

constexpr std::uint32_t kLargestCount16 = 0xFFFF;
constexpr std::uint32_t kLargestCount24 = 0xFFFFFF;

struct Record {
  char type;  // '0' to '9'
  std::uint32_t address;
  std::span<const std::uint8_t> data;  // until the next record is read
};

// Bytes of the address (or count) field; 0 for a type that is not in use.
std::size_t AddressSize(char type) {
  switch (type) {
    case '0':
    case '1':
    case '5':
    case '9':
      return 2;
    case '2':
    case '6':
    case '8':
      return 3;
    case '3':
    case '7':
      return 4;
    default:
      return 0;
  }
}

std::uint8_t ChecksumOf(std::span<const std::uint8_t> bytes) {
  return static_cast<std::uint8_t>(0xFFU - std::accumulate(bytes.begin(), bytes.end(), 0U) % 256);
}

class Reader {
 public:
  Reader(std::string_view text, std::string_view file)
      : lines_(text), file_(file), image_(std::string(file)) {}

  ImageContent Read() {
    const bool ended =
        ReadToEndRecord(lines_, file_, [this](const RecordLine& line) { return Take(line); });
    if (!ended && !counted_) {
      throw DamagedImage(file_, lines_.LastLine(),
                         "missing end record: expected S7, S8 or S9 before the end of the file");
    }
    return image_.Finish();
  }

 private:
  // True for an end record.
  bool Take(const RecordLine& line) {
    const Record record = Parse(line);
    counted_ = false;
    switch (record.type) {
      case '1':
      case '2':
      case '3':
        image_.Add(record.address, record.data, line.number);
        ++data_records_;
        return false;
      case '5':
      case '6':
        CheckCount(line, record);
        return false;
      case '7':
      case '8':
      case '9':
        RequireNoData(line, record);
        return true;
      default:
        return false;
    }
  }

  Record Parse(const RecordLine& line) {
    if (line.text.front() != 'S') {
      Raise(line, fmt::format("expected 'S' at the start of a record, found {}",
                              Printable(line.text.front())));
    }
    const char type = line.text.size() > 1 ? line.text[1] : ' ';
    const std::size_t address_size = AddressSize(type);
    if (address_size == 0) {
      Raise(line, fmt::format("expected a record type S0 to S3 or S5 to S9, found {} after the S",
                              Printable(type)));
    }
    ParseRecordHex(file_, line, 3, bytes_);
    const std::span<const std::uint8_t> bytes = bytes_;
    if (bytes.size() < address_size + 2) {
      Raise(line, fmt::format("expected at least {} bytes in a record S{}, found {}",
                              address_size + 2, type, bytes.size()));
    }
    if (bytes[0] != bytes.size() - 1) {
      Raise(line, fmt::format("expected {} bytes after the length as the record says, found {}",
                              bytes[0], bytes.size() - 1));
    }
    const std::uint8_t checksum = ChecksumOf(bytes.first(bytes.size() - 1));
    if (bytes.back() != checksum) {
      Raise(line,
            fmt::format("wrong checksum: expected {:02X}, found {:02X}", checksum, bytes.back()));
    }
    return {type, BigEndian(bytes, 1, address_size),
            bytes.subspan(1 + address_size, bytes.size() - address_size - 2)};
  }

  void CheckCount(const RecordLine& line, const Record& record) {
    RequireNoData(line, record);
    if (record.address != data_records_) {
      Raise(line, fmt::format("wrong count: the record says {} data records, found {}",
                              record.address, data_records_));
    }
    counted_ = true;
  }

  void RequireNoData(const RecordLine& line, const Record& record) const {
    if (!record.data.empty()) {
      Raise(line, fmt::format("expected no data bytes in a record S{}, found {}", record.type,
                              record.data.size()));
    }
  }

  [[noreturn]] void Raise(const RecordLine& line, std::string_view reason) const {
    throw DamagedImage(file_, line.number, reason);
  }

  RecordLines lines_;
  std::string_view file_;
  std::vector<std::uint8_t> bytes_;  // of the record read last
  ImageBuilder image_;
  std::uint32_t data_records_ = 0;
  bool counted_ = false;  // the record read last was a correct count
};

void WriteRecord(std::ostream& out, char type, std::uint32_t address,
                 std::span<const std::uint8_t> data) {
  const std::size_t address_size = AddressSize(type);
  std::vector<std::uint8_t> bytes = {static_cast<std::uint8_t>(address_size + data.size() + 1)};
  for (std::size_t at = address_size; at-- > 0;) {
    bytes.push_back(static_cast<std::uint8_t>(address >> 8 * at));
  }
  bytes.insert(bytes.end(), data.begin(), data.end());
  bytes.push_back(ChecksumOf(bytes));
  out << fmt::format("S{}{:02X}\n", type, fmt::join(bytes, ""));
}

void WriteCount(std::ostream& out, std::uint32_t data_records) {
  if (data_records <= kLargestCount16) {
    WriteRecord(out, '5', data_records, {});
  } else if (data_records <= kLargestCount24) {
    WriteRecord(out, '6', data_records, {});
  }
}

// Type of the data records that hold the last address of `segments`.
char DataTypeFor(const ImageSegments& segments) {
  const std::uint64_t end =
      segments.empty() ? 0 : segments.back().address + std::uint64_t{segments.back().bytes.size()};
  if (end <= 0x10000) {
    return '1';
  }
  return end <= 0x1000000 ? '2' : '3';
}

// S9 ends a file of S1 records, S8 one of S2, S7 one of S3.
char EndTypeFor(char data_type) { return static_cast<char>('0' + 10 - (data_type - '0')); }

}  // namespace

ImageContent ReadSRecord(std::string_view text, std::string_view file) {
  return Reader(text, file).Read();
}

void WriteSRecord(std::ostream& out, const ImageSegments& segments, std::size_t bytes_per_record) {
  const char data_type = DataTypeFor(segments);
  std::uint32_t data_records = 0;
  WriteRecord(out, '0', 0, {});
  for (const ImageSegment& segment : segments) {
    std::span<const std::uint8_t> rest = segment.bytes;
    std::uint32_t address = segment.address;
    while (!rest.empty() && out) {
      const std::size_t size = std::min(rest.size(), bytes_per_record);
      WriteRecord(out, data_type, address, rest.first(size));
      rest = rest.subspan(size);
      address += static_cast<std::uint32_t>(size);
      ++data_records;
    }
  }
  WriteCount(out, data_records);
  WriteRecord(out, EndTypeFor(data_type), 0, {});
}

}  // namespace quillmark::host
