// SPDX-License-Identifier: MIT
#include <fmt/chrono.h>
#include <fmt/format.h>

#include <ctime>
#include <string>
#include <utility>

#include "host/trace/log_lines.h"
#include "quillmark/host/trace.h"

namespace quillmark::host {
namespace {

constexpr std::uint32_t kLastStandardIdentifier = 0x7FF;
constexpr Duration kSecond = std::chrono::seconds(1);

std::uint32_t IdentifierOf(const TraceEntry& entry) {
  return entry.direction == Direction::kToEcu ? entry.exchange.send : entry.exchange.receive;
}

/// "12.000345": a double would lose digits of a date.
std::string Seconds(Duration time) {
  return fmt::format("{}.{:06}", time / kSecond, (time % kSecond).count());
}

std::string HexWithBlanks(ByteView bytes) { return fmt::format("{:02X}", fmt::join(bytes, " ")); }

}  // namespace

TraceWriter::TraceWriter(std::ostream& out, TraceFormat format, Clock::time_point began)
    : out_(out),
      format_(format),
      began_(std::chrono::duration_cast<Duration>(began.time_since_epoch())) {
  WriteHead();
}

void TraceWriter::Write(const TraceEntry& entry) {
  switch (format_) {
    case TraceFormat::kCandump:
      return WriteCandump(entry);
    case TraceFormat::kAsc:
      return WriteAsc(entry);
    default:
      return WriteKLine(entry);
  }
}

void TraceWriter::WriteHead() {
  if (format_ == TraceFormat::kKLine) {
    out_ << "# " << kKLineTraceTitle << ": seconds, > to the ECU or < from it, bytes\n";
    return;
  }
  if (format_ == TraceFormat::kAsc) {
    const auto date = static_cast<std::time_t>(began_ / kSecond);
    out_ << fmt::format("date {:%a %b %d %H:%M:%S %Y}\n", fmt::gmtime(date))
         << "base hex  timestamps absolute\n"
         << "no internal events logged\n";
  }
}

void TraceWriter::WriteCandump(const TraceEntry& entry) {
  if (entry.kind != TraceEntryKind::kFrame) {
    return;
  }
  const std::uint32_t identifier = IdentifierOf(entry);
  const int digits = identifier > kLastStandardIdentifier ? 8 : 3;
  const char* const name = entry.exchange.form == TransportForm::kGateway ? "gateway" : "can0";
  out_ << fmt::format("({}) {} {:0{}X}#{}\n", Seconds(began_ + entry.at), name, identifier, digits,
                      HexOf(entry.data));
}

void TraceWriter::WriteAsc(const TraceEntry& entry) {
  if (entry.kind != TraceEntryKind::kFrame) {
    return;
  }
  if (entry.exchange.form == TransportForm::kGateway && !std::exchange(names_gateway_, true)) {
    out_ << kAscGatewayComment << ": numbers of its line and its channel instead of identifiers\n";
  }
  const std::uint32_t identifier = IdentifierOf(entry);
  const std::string name =
      fmt::format("{:X}{}", identifier, identifier > kLastStandardIdentifier ? "x" : "");
  out_ << fmt::format("{:>11} 1  {:<15} {}   d {} {}\n", Seconds(entry.at), name,
                      entry.direction == Direction::kToEcu ? "Tx" : "Rx", entry.data.size(),
                      HexWithBlanks(entry.data));
}

void TraceWriter::WriteKLine(const TraceEntry& entry) {
  if (entry.kind == TraceEntryKind::kBreak) {
    out_ << fmt::format("{:>11} break {} ms\n", Seconds(entry.at), entry.low.count());
    return;
  }
  out_ << fmt::format("{:>11} {} {}\n", Seconds(entry.at),
                      entry.direction == Direction::kToEcu ? '>' : '<', HexWithBlanks(entry.data));
}

}  // namespace quillmark::host
