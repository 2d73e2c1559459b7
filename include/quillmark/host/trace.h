// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <istream>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "quillmark/export.h"
#include "quillmark/host/bus.h"
#include "quillmark/host/files.h"

namespace quillmark::host {

/// What passed.
enum class TraceEntryKind : std::uint8_t {
  kFrame,  ///< a frame passed
  kBreak,  ///< the tester held the K line low
};

/// Something that passed on a bus.
struct TraceEntry {
  /// Says which of the members below the entry has.
  TraceEntryKind kind = TraceEntryKind::kFrame;
  /// Since the trace began: when the frame was sent, or when the tester took it from the bus.
  Duration at{};
  /// `kFrame`: who sent it.
  Direction direction = Direction::kToEcu;
  /// What was selected on the bus at that time.
  Exchange exchange{};
  /// `kFrame`: all its bytes.
  Bytes data{};
  /// `kBreak`: how long the line was low.
  std::chrono::milliseconds low{};

  friend bool operator==(const TraceEntry&, const TraceEntry&) = default;
};

/// The entries of one exchange, in the order of their times.
struct Trace {
  Exchange exchange{};                ///< that of all entries
  std::vector<TraceEntry> entries{};  ///< none where nothing passed
  /// Of a trace that was read: the line that ended it early, and what is wrong with it; empty for a
  /// whole trace.
  std::string damage{};
};

/// Receives entries one by one.
using TraceSink = std::function<void(const TraceEntry&)>;

/// The format of a trace.
enum class TraceFormat : std::uint8_t {
  kCandump,  ///< the log of can-utils' candump
  kAsc,      ///< Vector ASC
  kKLine,    ///< readable lines of a K line, a format of this host
};

/// A file that is not a trace, or a line of one that is not an entry.
class QUILLMARK_API DamagedTrace : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The most bytes of a trace that are read. A flash of 16 MiB, verified, leaves a candump log of
/// half of it.
inline constexpr std::uint64_t kLargestTrace = 0x40000000;

/// Reads a trace in one of the formats that TraceWriter writes; the content tells which. Times
/// count from the first entry.
///
/// A CAN log distinguishes nodes only by identifiers. If `exchange` is given, its identifiers
/// belong to the trace, and all others are left out. Without it the first frame is taken for the
/// tester's and the first with another identifier for the ECU's. Remote, error and CAN FD frames
/// are left out.
///
/// A damaged line, such as the last one of a file that was cut off, ends the trace, and so does
/// what follows `most` bytes: its `damage` says so. Raises DamagedTrace if nothing looks like a
/// trace.
[[nodiscard]] QUILLMARK_API Trace ReadTrace(std::istream& in,
                                            const std::optional<Exchange>& exchange = {},
                                            std::uint64_t most = kLargestTrace);

/// Writes each entry as a line of a format. Frames of a gateway carry the numbers of its line and
/// its channel instead of identifiers; a candump log names its interface `gateway`, an ASC file has
/// a comment that says so. CAN formats have no breaks.
class QUILLMARK_API TraceWriter {
 public:
  using Clock = std::chrono::system_clock;  ///< tells the date of a trace

  /// Writes the head of the file. `out` must outlive the writer. `began` is the date of the trace,
  /// which candump logs count from.
  TraceWriter(std::ostream& out, TraceFormat format, Clock::time_point began);

  /// Writes a line. Nothing for a break in a CAN format. The caller checks the state of `out`.
  void Write(const TraceEntry& entry);

 private:
  void WriteHead();
  void WriteCandump(const TraceEntry& entry);
  void WriteAsc(const TraceEntry& entry);
  void WriteKLine(const TraceEntry& entry);

  std::ostream& out_;
  TraceFormat format_;
  /// Whether the file says that its frames are those of a gateway.
  bool names_gateway_ = false;
  Duration began_;
};

/// The format of a trace file of `form` by its name. Raises std::invalid_argument, whose text names
/// the extensions, for a name without a format.
[[nodiscard]] QUILLMARK_API TraceFormat TraceFormatOfName(const std::filesystem::path& path,
                                                          TransportForm form);

/// A trace that grows as frames pass, each in the file before the next: whatever ends the tool,
/// what was seen is there. A file that can no longer be written, such as on a full disk, does not
/// stop the work on the ECU.
class QUILLMARK_API TraceFile {
 public:
  /// Raises CannotCreateFile.
  TraceFile(std::filesystem::path path, TraceFormat format, Existing existing);

  /// Puts the file in its place, which the first entry does as well: a trace of nothing that nobody
  /// asked for is not left behind.
  void TakePlace();
  /// Writes a line, and returns once the file has it. Does not raise: `Close` tells of a failure.
  void Write(const TraceEntry& entry);

  /// Ends the file, which appears only where it has an entry or has taken its place. Raises
  /// CannotWriteFile if not everything could be written.
  void Close();

 private:
  OutputFile file_;
  TraceWriter writer_;
  bool in_place_ = false;
};

/// Any bus, seen from the tester's side: passes everything to the bus behind it, and every frame to
/// a sink. A frame that a fault loses on the wire does not reach the tester and is not in the
/// trace. A frame that is discarded because it came too late to answer anything is.
class QUILLMARK_API TracingBus : public Bus {
 public:
  /// `bus` must outlive this. Times of the trace count from now.
  TracingBus(Bus& bus, TraceSink sink);

  void Select(const Exchange& exchange) override;
  void Send(ByteView frame) override;
  [[nodiscard]] std::optional<Bytes> Receive(std::chrono::milliseconds timeout) override;
  void Wait(std::chrono::milliseconds time) override;
  void Break(std::chrono::milliseconds low) override;
  [[nodiscard]] Duration Now() const override { return bus_.Now(); }
  [[nodiscard]] AdapterVersions Versions() override { return bus_.Versions(); }
  [[nodiscard]] std::optional<std::uint32_t> BatteryMillivolts() override {
    return bus_.BatteryMillivolts();
  }

  /// The time of the trace.
  [[nodiscard]] Duration TraceTime() const { return bus_.Now() - began_; }

 private:
  void Record(Direction direction, ByteView frame);

  Bus& bus_;
  TraceSink sink_;
  Duration began_;
  Exchange exchange_;
};

}  // namespace quillmark::host
