// SPDX-License-Identifier: MIT
#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <span>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "arguments.h"
#include "bindings.h"
#include "errors.h"
#include "quillmark/error.h"
#include "quillmark/host/files.h"
#include "quillmark/host/image_file.h"
#include "quillmark/host/memory_ranges.h"
#include "quillmark/host/text.h"
#include "shared_objects.h"
#include "transfer_platform.h"

namespace quillmark::python {
namespace {

namespace fs = std::filesystem;

std::string AddressText(std::int64_t address) {
  std::ostringstream text;
  text << (address < 0 ? "-0x" : "0x") << std::hex << std::uppercase << std::abs(address);
  return text.str();
}

struct JoinedSegment {
  std::int64_t address = 0;
  host::Bytes bytes{};

  [[nodiscard]] std::int64_t end() const {
    return address + static_cast<std::int64_t>(bytes.size());
  }
  friend bool operator==(const JoinedSegment&, const JoinedSegment&) = default;
};

/// The segments, with those joined that follow one another. Raises ValueError if two overlap.
std::vector<JoinedSegment> Joined(const MemoryImage& image) {
  std::vector<JoinedSegment> joined;
  for (const auto& segment : image.Segments()) {
    segment->ReadBytes([&](std::span<const std::uint8_t> bytes) {
      const std::int64_t address = segment->StartAddress();
      if (bytes.empty()) {
        return;
      }
      if (!joined.empty() && address < joined.back().end()) {
        throw py::value_error("two segments of the image overlap at address " +
                              AddressText(address));
      }
      if (joined.empty() || address > joined.back().end()) {
        joined.push_back({address});
      }
      host::Bytes& all = joined.back().bytes;
      all.insert(all.end(), bytes.begin(), bytes.end());
    });
  }
  return joined;
}

std::vector<JoinedSegment> Joined(const Image& self) {
  return self.Use([](const auto& image) { return Joined(*image); });
}

/// Raises ValueError if a segment shares an address with one that is there.
void RequireFree(const MemoryImage& image, const ByteString& segment) {
  const std::int64_t start = segment.StartAddress();
  const std::int64_t end = start + segment.Length();
  const auto segments = image.Segments();
  const auto behind =
      std::partition_point(segments.begin(), segments.end(),
                           [&](const auto& other) { return other->StartAddress() < end; });
  for (auto other = behind; start < end && other != segments.begin();) {
    const ByteString& before = **--other;
    if (before.Length() == 0) {
      continue;
    }
    const std::int64_t first = before.StartAddress();
    if (first + before.Length() > start) {
      throw py::value_error("the segment " + AddressText(start) + " to " + AddressText(end - 1) +
                            " overlaps the one from " + AddressText(first) + " to " +
                            AddressText(first + before.Length() - 1));
    }
    return;
  }
}

void Add(const Image& self, Long address, const ByteArgument& data) {
  const auto segment = NativeOf(data);
  segment->SetStartAddress(address.value);
  self.Use([&](const auto& image) {
    RequireFree(*image, *segment);
    image->AddSegment(*segment);
  });
}

/// A mapping gives its items, anything else must give pairs itself.
std::shared_ptr<Image> MakeImage(const py::object& segments) {
  const py::object pairs = py::hasattr(segments, "items") ? segments.attr("items")() : segments;
  const auto image = SharedPlatform()->CreateMemoryImage();
  for (const py::handle pair : pairs) {
    const auto [address, data] = PairOf(pair, "an address and bytes");
    const auto segment = NativeOf(BytesOf(data));
    segment->SetStartAddress(IntegerOf(address, INT32_MIN, INT32_MAX));
    image->AddSegment(*segment);
  }
  static_cast<void>(Joined(*image));
  return std::make_shared<Image>(image);
}

/// A number from 0 to 0xFFFFFFFF as the signed one that the component counts addresses in.
std::int32_t AddressOf(std::uint32_t address) {
  if (address > INT32_MAX) {
    throw Error(error_number::kOverflow);
  }
  return static_cast<std::int32_t>(address);
}

std::shared_ptr<Image> ReadFile(const fs::path& path, std::optional<std::uint32_t> base) {
  const auto image = SharedPlatform()->CreateMemoryImage();
  const host::ImageFile file = host::ReadImageFile(path, base);
  if (file.repeated_records > 0) {
    Warn(path.string() + ": " + host::CountText(file.repeated_records, "record") +
         " repeated with the same values");
  }
  for (const host::ImageSegment& segment : file.segments) {
    const auto string = SharedPlatform()->CreateByteString();
    string->SetBytes(segment.bytes);
    string->SetStartAddress(AddressOf(segment.address));
    image->AddSegment(*string);
  }
  return std::make_shared<Image>(image);
}

using Segments = std::vector<std::pair<std::int32_t, py::bytes>>;

Segments SegmentsOf(const Image& self) {
  return self.Use([](const auto& image) {
    Segments segments;
    for (const auto& segment : image->Segments()) {
      segments.emplace_back(segment->StartAddress(), PythonBytes(*segment));
    }
    return segments;
  });
}

void AddTo(MemoryImage& image, std::int64_t address, host::ByteView bytes) {
  const auto segment = SharedPlatform()->CreateByteString();
  segment->SetBytes(bytes);
  segment->SetStartAddress(static_cast<std::int32_t>(address));
  image.AddSegment(*segment);
}

py::dict JoinedDict(const Image& self) {
  py::dict result;
  for (const JoinedSegment& segment : Joined(self)) {
    result[py::int_(segment.address)] = PythonBytes(segment.bytes);
  }
  return result;
}

void SaveFile(const Image& self, const fs::path& path, Byte fill) {
  const auto segments = self.Use([](const auto& image) { return FileSegmentsOf(*image); });
  host::OutputFile file(path, host::Existing::kReplaced);
  host::WriteImage(file.stream(), host::FormatOfName(path), segments, fill.value);
  file.Commit();
}

/// The bytes from address `start` on, up to `stop`.
std::shared_ptr<Image> Part(const Image& self, std::int64_t start, std::int64_t stop) {
  auto part = SharedPlatform()->CreateMemoryImage();
  for (const JoinedSegment& segment : Joined(self)) {
    const std::int64_t first = std::max(segment.address, start);
    const std::int64_t last = std::min(segment.end(), stop);
    if (first < last) {
      AddTo(*part, first,
            host::ByteView(segment.bytes)
                .subspan(static_cast<std::size_t>(first - segment.address),
                         static_cast<std::size_t>(last - first)));
    }
  }
  return std::make_shared<Image>(std::move(part));
}

std::int64_t BoundOf(const py::object& bound, std::int64_t otherwise) {
  return bound.is_none() ? otherwise : IntegerOf(bound, INT32_MIN, INT32_MAX);
}

std::shared_ptr<Image> Slice(const Image& self, const py::slice& slice) {
  if (!slice.attr("step").is_none()) {
    throw py::value_error("a slice of an image has no step");
  }
  return Part(self, BoundOf(slice.attr("start"), INT32_MIN),
              BoundOf(slice.attr("stop"), std::int64_t{INT32_MAX} + 1));
}

std::shared_ptr<Image> MakeCopy(const Image& self) { return std::make_shared<Image>(CopyOf(self)); }

/// Equal bytes at equal addresses, however they are cut into segments.
py::object AreEqual(const Image& self, const py::object& other) {
  if (!py::isinstance<Image>(other)) {
    return py::reinterpret_borrow<py::object>(Py_NotImplemented);
  }
  return py::bool_(Joined(self) == Joined(py::cast<const Image&>(other)));
}

std::size_t CountSegments(const Image& self) {
  return self.Use([](const auto& image) { return image->Segments().size(); });
}

std::string TextOfImage(const Image& self) {
  return self.Use([](const auto& image) {
    return "<quillmark.MemoryImage " + std::to_string(host::SizeOf(*image)) + " bytes in " +
           std::to_string(image->Segments().size()) + " segments>";
  });
}

}  // namespace

host::ImageSegments FileSegmentsOf(const MemoryImage& image) {
  host::ImageSegments segments;
  for (JoinedSegment& segment : Joined(image)) {
    if (segment.address < 0) {
      throw py::value_error("a file has no addresses below 0, found " +
                            AddressText(segment.address));
    }
    segments.push_back({static_cast<std::uint32_t>(segment.address), std::move(segment.bytes)});
  }
  return segments;
}

std::shared_ptr<MemoryImage> CopyOf(const Image& image) {
  return image.Use(
      [](const auto& original) { return host::ImageOf(original->Segments(), *SharedPlatform()); });
}

std::shared_ptr<MemoryImage> JoinedImage(const MemoryImage& image) {
  std::shared_ptr<MemoryImage> joined = SharedPlatform()->CreateMemoryImage();
  for (const JoinedSegment& segment : Joined(image)) {
    AddTo(*joined, segment.address, segment.bytes);
  }
  return joined;
}

Ranges RangesOf(const py::object& pairs) {
  Ranges ranges{SharedPlatform()->CreateMemoryMap()};
  for (const py::handle pair : pairs) {
    const auto [start, count] = PairOf(pair, "start and count");
    const std::int32_t bytes = IntegerOf(count, INT32_MIN, INT32_MAX);
    ranges.map->AddRange(IntegerOf(start, INT32_MIN, INT32_MAX), bytes);
    ranges.size += bytes;
  }
  return ranges;
}

std::shared_ptr<Image> ImageOf(const py::object& argument) {
  return py::isinstance<Image>(argument) ? py::cast<std::shared_ptr<Image>>(argument)
                                         : MakeImage(argument);
}

void BindImages(py::module_& module) {
  py::class_<Image, std::shared_ptr<Image>>(
      module, "MemoryImage",
      R"(What is to be written into an ECU, or what was read from it.

MemoryImage({0x8000: b"..."}) takes a mapping of addresses to bytes, or pairs of the two; addresses are
signed 32-bit numbers. Segments are kept as they were added. An image iterates over its segments, pairs of
address and bytes; len() counts them; image[0x8000:0x9000] is the part between two addresses; two images
are equal if they have the same bytes at the same addresses. Raises ValueError for segments that overlap, Error 6
for an address out of range and for a segment that goes past it.)")
      .def(py::init(&MakeImage), py::arg("segments") = py::tuple())
      .def_static("from_file", &ReadFile, py::arg("path"), py::arg("base") = py::none(),
                  "Reads Intel HEX, Motorola S-records or, with its first address as base, a raw "
                  "binary.\n\nRaises OSError for a file that cannot be read, ValueError with file, "
                  "line and reason for a damaged\none and for a base that is missing or out of "
                  "place. Records that repeat the values of others are a\nUserWarning.")
      .def(
          "save", &SaveFile, py::arg("path"), py::arg("fill") = 0xFF,
          "Writes a file in the format of its extension (.hex, .s19, .srec, ...; otherwise raw "
          "binary from\nthe first address on, gaps filled with the byte fill). An existing file is "
          "replaced once the new one is\ncomplete. Raises OSError, and ValueError where segments "
          "overlap.")
      .def("add", &Add, py::arg("address"), py::arg("data"),
           "Adds a segment. Raises ValueError where it overlaps another one.")
      .def_property_readonly("segments", &SegmentsOf,
                             "Pairs of address and bytes, in address order.")
      .def("joined", &JoinedDict,
           "A dict of addresses and bytes with adjacent segments joined, as after an upload. "
           "Raises\nValueError if two overlap.")
      .def_property_readonly(
          "size",
          [](const Image& self) {
            return self.Use([](const auto& image) { return host::SizeOf(*image); });
          },
          "Number of bytes of all segments.")
      .def("copy", &MakeCopy, "Another image with the same segments.")
      .def("__copy__", &MakeCopy)
      .def(
          "__deepcopy__",
          [](const Image& self, const py::object& /*memo*/) { return MakeCopy(self); },
          py::arg("memo"))
      .def("__eq__", &AreEqual, py::arg("other"))
      .def("__len__", &CountSegments)
      .def("__iter__", [](const Image& self) { return py::iter(py::cast(SegmentsOf(self))); })
      .def("__getitem__", &Slice, py::arg("addresses"))
      .def("__repr__", &TextOfImage)
      .attr("__hash__") = py::none();
}

}  // namespace quillmark::python
