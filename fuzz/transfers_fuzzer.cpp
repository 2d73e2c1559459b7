// SPDX-License-Identifier: MIT
// Downloads and uploads: whatever the memory and the arguments, a worker delivers the documents
// that the rules demand, an ECU's own transport understands each of their requests, and an upload
// returns what the ECU sends.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <numeric>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/support/law.h"
#include "fuzz/support/scripted_ecu.h"
#include "quillmark/host/bus.h"
#include "quillmark/host/bytes.h"
#include "quillmark/host/runner.h"
#include "quillmark/quillmark.h"

namespace quillmark::fuzz {
namespace {

struct Stretch {
  std::int32_t start = 0;
  host::Bytes bytes;
};

struct Download {
  host::TransportForm form = host::TransportForm::kPlainCan;
  std::uint8_t RL = 0;
  std::uint8_t fill = 0;
  std::int32_t IMod = 1;
  std::int32_t MaxSize = 1;
  std::vector<Stretch> image;  ///< in the order in which it was added
};

struct Range {
  std::int32_t start = 0;
  std::int32_t count = 0;
};

/// The documents of a transfer: how many bytes each covers, and its requests.
struct Piece {
  std::int64_t totalbytes = 0;
  std::vector<host::Bytes> requests;
};

using host::Bytes;

constexpr std::int64_t kFirstAddress = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t kLastAddress = std::numeric_limits<std::int32_t>::max();

/// The rules end the run here, with an error or because it was cancelled.
struct RunEnds {};

/// Gathers requests into pieces of 32 KB.
class Pieces {
 public:
  explicit Pieces(std::size_t most) : most_(most) {}

  void Skip(std::int64_t count) { piece_.totalbytes += count; }

  void Add(Bytes request, std::int64_t count) {
    piece_.requests.push_back(std::move(request));
    piece_.totalbytes += count;
    data_ += count;
    if (data_ >= 32768) {
      Emit();
    }
  }

  void Emit() {
    pieces.push_back(std::move(piece_));
    piece_ = {};
    data_ = 0;
    if (pieces.size() == most_) {
      throw RunEnds();
    }
  }

  std::vector<Piece> pieces;

 private:
  std::size_t most_;
  Piece piece_;
  std::int64_t data_ = 0;
};

void RequireAddress(std::int64_t address) {
  if (address < kFirstAddress || address > kLastAddress) {
    throw RunEnds();
  }
}

void AppendAddress(Bytes& request, std::int64_t address) {
  for (const std::int64_t divisor : {65536, 256, 1}) {
    request.push_back(static_cast<std::uint8_t>(address / divisor & 0xFF));
  }
}

Bytes BlockOf(const Download& download, std::int64_t address, const Bytes& data) {
  Bytes block{0x34, download.RL};
  AppendAddress(block, address);
  block.push_back(static_cast<std::uint8_t>(data.size()));
  block.insert(block.end(), data.begin(), data.end());
  const unsigned sum = std::accumulate(block.begin(), block.end(), 0U);
  block.push_back(static_cast<std::uint8_t>(sum >> 8U));
  block.push_back(static_cast<std::uint8_t>(sum));
  return block;
}

void CutStretch(const Download& download, const Stretch& stretch, Pieces& pieces) {
  const bool k_style = download.form != host::TransportForm::kPlainCan;
  const std::int64_t unit = std::abs(std::int64_t{download.IMod});
  auto next = stretch.bytes.begin();
  std::int64_t address = stretch.start;
  // The end address, that of the last byte; an empty range at the first address has none.
  RequireAddress(address + static_cast<std::int64_t>(stretch.bytes.size()) - 1);
  while (next != stretch.bytes.end()) {
    if (unit == 0) {
      throw RunEnds();
    }
    if (address % unit == 0) {
      const auto other = std::find_if(next, stretch.bytes.end(),
                                      [&](std::uint8_t byte) { return byte != download.fill; });
      const std::int64_t skip = (other - next) / unit * unit;
      next += skip;
      address += skip;
      RequireAddress(address);
      pieces.Skip(skip);
    }
    const std::int64_t count = std::min<std::int64_t>(stretch.bytes.end() - next, download.MaxSize);
    if (count == 0) {
      return;
    }
    RequireAddress(address + count);
    const Bytes block = BlockOf(download, address, Bytes(next, next + count));
    if (k_style && block.size() > 255) {
      throw RunEnds();
    }
    next += count;
    address += count;
    pieces.Add(block, count);
  }
}

void CutRange(const Range& range, Pieces& pieces) {
  std::int64_t address = range.start;
  for (std::int64_t left = range.count; left > 0;) {
    const std::int64_t count = std::min<std::int64_t>(left, 48);
    Bytes request{0x35, 0x80};
    AppendAddress(request, address);
    request.push_back(static_cast<std::uint8_t>(count));
    address += count;
    left -= count;
    RequireAddress(address);
    pieces.Add(request, count);
  }
}

template <typename Parts, typename Cut>
std::vector<Piece> CutAll(const Parts& parts, std::size_t most_pieces, Cut cut) {
  Pieces pieces(most_pieces);
  try {
    for (const auto& part : parts) {
      cut(part, pieces);
    }
    pieces.Emit();
  } catch (const RunEnds&) {
  }
  return std::move(pieces.pieces);
}

/// What a worker must deliver: these pieces, then the end. If the rules end the run with an error,
/// the pieces up to there. At most `most_pieces` are computed.
std::vector<Piece> PiecesOf(const Download& download, std::size_t most_pieces) {
  std::vector<Stretch> image = download.image;
  std::stable_sort(image.begin(), image.end(),
                   [](const Stretch& a, const Stretch& b) { return a.start < b.start; });
  return CutAll(image, most_pieces, [&](const Stretch& stretch, Pieces& pieces) {
    CutStretch(download, stretch, pieces);
  });
}

std::vector<Piece> PiecesOf(const std::vector<Range>& ranges, std::size_t most_pieces) {
  return CutAll(ranges, most_pieces, CutRange);
}

using host::Bytes;
using host::TransportForm;
using Document = std::shared_ptr<DOMDocument>;

constexpr std::int32_t kLeast = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();

/// One object on a platform and what its event carried.
class Transfer {
 public:
  Transfer(TransportForm form, std::int32_t block_size, std::int32_t separation_time)
      : object_(CreateDiagOnCANReprog(platform_)) {
    options_.form = form;
    options_.address = form == TransportForm::kGateway ? 0x6E : 0x11;
    options_.block_size = static_cast<std::uint8_t>(block_size);
    options_.separation_time = static_cast<std::uint8_t>(separation_time);
    const bool plain = form == TransportForm::kPlainCan;
    object_->CANIDs(plain ? 1850 : 0, plain ? 1586 : options_.address);
    object_->FlowControl(block_size, separation_time);
  }

  /// Runs a transfer to its end, or until the event with this number, which then cancels it.
  /// Nothing if `start` raised that error.
  template <typename Start>
  std::optional<Error> Run(std::size_t cancel_at, Start start) {
    object_->OnXMLReady([this, cancel_at](const std::shared_ptr<IXMLDOMNode>& node, bool& cancel) {
      documents_.push_back(std::dynamic_pointer_cast<DOMDocument>(node));
      cancel = documents_.size() == cancel_at;
    });
    std::optional<Error> raised;
    try {
      start(*object_);
    } catch (const Error& error) {
      raised = error;
    }
    platform_->WaitForWorkers();
    return raised;
  }

  /// Runs each document on an ECU that gives `reply`, and passes it to `check`.
  template <typename Check>
  void RequirePieces(const std::vector<Piece>& pieces, std::size_t cancel_at,
                     const ScriptedEcu::Reply& reply, Check check) {
    const bool cancelled = pieces.size() == cancel_at;
    Law(documents_.size() == pieces.size() + (cancelled ? 0 : 1),
        "a transfer has the pieces that the rules say, and an end unless it is cancelled");
    ScriptedEcu ecu(options_, ExchangeOf(options_), reply);
    host::SimulatedBus bus(ecu);
    host::Runner runner(bus, options_.form);
    for (std::size_t index = 0; index < pieces.size(); ++index) {
      const Document& document = documents_[index];
      Law(document != nullptr, "no end comes before the last piece");
      Law(document->documentElement()->getAttribute("totalbytes") ==
              std::to_string(pieces[index].totalbytes),
          "a document says how many bytes it covers");
      Law(runner.Run(*document).complete(), "a document is understood by an ECU");
      Law(ecu.TakeRequests() == pieces[index].requests, "its requests are what the rules say");
      check(*object_, document);
    }
    Law(cancelled || documents_.back() == nullptr, "an empty node is the end");
  }

  [[nodiscard]] PortablePlatform& platform() { return *platform_; }

 private:
  static host::Exchange ExchangeOf(const host::EcuOptions& options) {
    switch (options.form) {
      case TransportForm::kPlainCan:
        return {options.form, 1850, 1586};
      case TransportForm::kGateway:
        return {options.form, 3, 13};
      default:
        return {.form = options.form};
    }
  }

  std::shared_ptr<PortablePlatform> platform_ = CreatePortablePlatform();
  std::shared_ptr<DiagOnCANReprog> object_;
  host::EcuOptions options_;
  std::vector<Document> documents_;
};

std::int32_t Address(FuzzedDataProvider& data) {
  constexpr std::array<std::int32_t, 6> kBases = {0, 0xFFFF00, kLeast, -300, kMost - 600, 0x7FFF00};
  const std::int32_t base = data.PickValueInArray(kBases);
  return data.ConsumeBool() ? base + data.ConsumeIntegralInRange(0, 600)
                            : data.ConsumeIntegral<std::int32_t>();
}

/// A number near those where something changes, or any.
template <std::size_t kSize>
std::int32_t Number(FuzzedDataProvider& data, const std::array<std::int32_t, kSize>& usual) {
  return data.ConsumeIntegralInRange(0, 7) == 0 ? data.ConsumeIntegral<std::int32_t>()
                                                : data.PickValueInArray(usual);
}

/// Bytes of the input and runs of fill, sometimes repeated until they fill documents.
Bytes Content(FuzzedDataProvider& data, std::uint8_t fill, std::int32_t MaxSize) {
  Bytes part;
  for (auto left = data.ConsumeIntegralInRange(0, 4); left > 0; --left) {
    const auto count = data.ConsumeIntegralInRange<std::size_t>(0, 70);
    const Bytes more =
        data.ConsumeBool() ? Bytes(count, fill) : data.ConsumeBytes<std::uint8_t>(count);
    part.insert(part.end(), more.begin(), more.end());
  }
  const std::size_t most = MaxSize >= 128 ? 35'000 : 600;
  Bytes bytes = part;
  if (data.ConsumeIntegralInRange(0, 15) == 0) {
    while (!part.empty() && bytes.size() + part.size() <= most) {
      bytes.insert(bytes.end(), part.begin(), part.end());
    }
  }
  return bytes;
}

std::shared_ptr<MemoryImage> ImageOf(const Download& download, PortablePlatform& platform) {
  auto image = platform.CreateMemoryImage();
  for (const Stretch& stretch : download.image) {
    const auto segment = platform.CreateByteString();
    segment->SetHex(host::HexOf(stretch.bytes));
    segment->SetStartAddress(stretch.start);
    image->AddSegment(*segment);
  }
  return image;
}

/// Whether a segment has an address for each byte; the host's own types refuse it elsewhere.
bool HasRoom(const Stretch& stretch) {
  return std::int64_t{stretch.start} + static_cast<std::int64_t>(stretch.bytes.size()) - 1 <= kMost;
}

void RunDownload(FuzzedDataProvider& data, Transfer& transfer, TransportForm form) {
  constexpr std::array<std::int32_t, 10> kUnits = {1, 2, 16, 16, 64, 0, -1, -16, kLeast, kMost};
  constexpr std::array<std::int32_t, 12> kSizes = {1,   2,   16,  128, 240, 247,
                                                   248, 255, 128, 0,   256, -1};
  Download download;
  download.form = form;
  download.RL = data.ConsumeIntegral<std::uint8_t>();
  download.fill = data.ConsumeBool() ? 0xFF : data.ConsumeIntegral<std::uint8_t>();
  download.IMod = Number(data, kUnits);
  download.MaxSize = Number(data, kSizes);
  const auto cancel_at = data.ConsumeIntegralInRange<std::size_t>(1, 4);
  for (auto left = data.ConsumeIntegralInRange(0, 3); left > 0; --left) {
    const Stretch stretch{Address(data), Content(data, download.fill, download.MaxSize)};
    if (HasRoom(stretch)) {
      download.image.push_back(stretch);
    }
  }
  const auto image = ImageOf(download, transfer.platform());
  const std::optional<Error> raised = transfer.Run(cancel_at, [&](DiagOnCANReprog& object) {
    object.ComputeDownload(download.RL, image, download.fill, download.IMod, download.MaxSize);
  });
  const bool right_size = download.MaxSize >= 1 && download.MaxSize <= 255;
  Law(raised.has_value() != right_size, "a block size outside 1 to 255 is refused");
  if (raised) {
    Law(raised->Number() == 1000 && raised->Description() == "Invalid block size (" +
                                                                 std::to_string(download.MaxSize) +
                                                                 ")",
        "and named");
    return;
  }
  transfer.RequirePieces(
      PiecesOf(download, cancel_at), cancel_at,
      [](const Bytes&) {
        return Bytes{0x74, 0x02};
      },
      [](DiagOnCANReprog& object, const Document& document) { object.checkdownload(document); });
}

/// What the ECU's memory holds.
std::uint8_t CellAt(std::uint32_t address) {
  return static_cast<std::uint8_t>(address * 7 + (address >> 8U));
}

std::uint32_t AddressIn(const Bytes& request) {
  return std::uint32_t{request[2]} << 16U | std::uint32_t{request[3]} << 8U | request[4];
}

Bytes Memory(const Bytes& request) {
  Bytes bytes(request[5]);
  std::generate(bytes.begin(), bytes.end(),
                [address = AddressIn(request)]() mutable { return CellAt(address++); });
  return bytes;
}

void RequireUpload(DiagOnCANReprog& object, const Document& document, const Piece& piece,
                   const std::shared_ptr<MemoryImage>& image) {
  object.checkupload(document, image);
  std::vector<Bytes> requests = piece.requests;
  std::stable_sort(requests.begin(), requests.end(),
                   [](const Bytes& a, const Bytes& b) { return AddressIn(a) < AddressIn(b); });
  const auto segments = image->Segments();
  Law(segments.size() == requests.size(), "an upload has one segment a reply");
  for (std::size_t index = 0; index < segments.size(); ++index) {
    const auto address = static_cast<std::uint32_t>(segments[index]->StartAddress());
    Law(address == AddressIn(requests[index]), "a segment stands where it was asked for");
    Law(segments[index]->Hex() == host::HexOf(Memory(requests[index])), "and holds the memory");
  }
}

void RunUpload(FuzzedDataProvider& data, Transfer& transfer) {
  constexpr std::array<std::int32_t, 10> kCounts = {0, 1, 47, 48, 49, 100, -1, 96, 33'000, kMost};
  const auto RL = data.ConsumeIntegral<std::uint8_t>();
  const auto cancel_at = data.ConsumeIntegralInRange<std::size_t>(1, 3);
  std::vector<Range> ranges;
  const auto map = transfer.platform().CreateMemoryMap();
  for (auto left = data.ConsumeIntegralInRange(0, 3); left > 0; --left) {
    ranges.push_back({Address(data), Number(data, kCounts)});
    map->AddRange(ranges.back().start, ranges.back().count);
  }
  const auto raised =
      transfer.Run(cancel_at, [&](DiagOnCANReprog& object) { object.ComputeUpload(map, RL); });
  Law(!raised, "an upload always starts");
  const auto reply = [RL](const Bytes& request) {
    Bytes bytes = request;
    bytes[0] = 0x75;
    bytes[1] = RL;
    const Bytes memory = Memory(request);
    bytes.insert(bytes.end(), memory.begin(), memory.end());
    bytes.resize(bytes.size() + 2);
    return bytes;
  };
  const std::vector<Piece> pieces = PiecesOf(ranges, cancel_at);
  auto piece = pieces.begin();
  transfer.RequirePieces(
      pieces, cancel_at, reply, [&](DiagOnCANReprog& object, const Document& document) {
        RequireUpload(object, document, *piece++, transfer.platform().CreateMemoryImage());
      });
}

void Run(FuzzedDataProvider& data) {
  constexpr std::array kForms = {TransportForm::kPlainCan, TransportForm::kGateway,
                                 TransportForm::kKLine};
  const TransportForm form = data.PickValueInArray(kForms);
  const auto block_size = data.ConsumeBool() ? 1 : data.ConsumeIntegral<std::uint8_t>();
  const auto separation_time = data.ConsumeBool() ? 0 : data.ConsumeIntegral<std::uint8_t>();
  Transfer transfer(form, block_size, separation_time);
  if (data.ConsumeBool()) {
    RunDownload(data, transfer, form);
  } else {
    RunUpload(data, transfer);
  }
}

}  // namespace
}  // namespace quillmark::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider provider(data, size);
  quillmark::fuzz::Run(provider);
  return 0;
}
