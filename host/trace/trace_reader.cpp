// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "host/trace/log_lines.h"
#include "quillmark/host/trace.h"

namespace quillmark::host {
namespace {

constexpr std::string_view kGatewayInterface = "gateway";
constexpr std::size_t kLongestShown = 200;

/// A message that contains a line of a file, which may be of any length.
std::string Shown(std::string message) {
  if (message.size() > kLongestShown) {
    message.resize(kLongestShown);
    message += "...";
  }
  return message;
}

/// Reads a file line by line; its errors name the line.
class LineReader {
 public:
  LineReader(std::istream& in, std::uint64_t most) : in_(in), most_(most) {}

  /// The next line that is not blank; false at the end.
  bool Next() {
    while (ReadLine()) {
      if (!WordsOf(line_).empty()) {
        return true;
      }
    }
    return false;
  }

  [[nodiscard]] const std::string& line() const { return line_; }

  [[noreturn]] void Refuse(const std::string& why) const {
    throw DamagedTrace("line " + std::to_string(number_) + ": " + Shown(why));
  }

  template <typename Read>
  auto Parse(Read read) const {
    try {
      return read(line_);
    } catch (const DamagedTrace& error) {
      Refuse(error.what());
    }
  }

 private:
  /// Input may have neither an end nor line ends.
  bool ReadLine() {
    in_.getline(buffer_.data(), static_cast<std::streamsize>(buffer_.size()));
    const auto size = static_cast<std::size_t>(in_.gcount());
    const bool is_cut = in_.fail() && size + 1 == buffer_.size();
    if (in_.fail() && !is_cut) {
      return false;
    }
    ++number_;
    read_ += size;
    if (is_cut) {
      Refuse("expected a line of at most " + std::to_string(size) + " bytes, found more");
    }
    if (read_ > most_) {
      Refuse("expected a trace of at most " + std::to_string(most_) + " bytes, found more");
    }
    line_.assign(buffer_.data(), in_.eof() ? size : size - 1);
    return true;
  }

  std::istream& in_;
  std::uint64_t most_;
  std::vector<char> buffer_ = std::vector<char>(0x10000);
  std::string line_;
  std::size_t number_ = 0;
  std::uint64_t read_ = 0;
};

Trace ReadKLineTrace(LineReader& lines) {
  Trace trace{.exchange = {.form = TransportForm::kKLine}};
  try {
    while (lines.Next()) {
      trace.entries.push_back(lines.Parse(ReadKLineLine));
    }
  } catch (const DamagedTrace& error) {
    trace.damage = error.what();
  }
  return trace;
}

/// Which identifier is the tester's and which the ECU's, if this was not given.
Exchange ExchangeOf(const std::vector<LoggedFrame>& frames, bool is_gateway) {
  Exchange exchange;
  if (frames.empty()) {
    return exchange;
  }
  if (is_gateway) {
    exchange.form = TransportForm::kGateway;
  }
  exchange.send = frames.front().identifier;
  const auto other = std::find_if(frames.begin(), frames.end(), [&](const LoggedFrame& frame) {
    return frame.identifier != exchange.send;
  });
  exchange.receive = other == frames.end() ? exchange.send : other->identifier;
  return exchange;
}

Trace TraceOf(std::vector<LoggedFrame> frames, const Exchange& exchange) {
  Trace trace{.exchange = exchange};
  for (LoggedFrame& frame : frames) {
    const bool is_request = frame.identifier == exchange.send;
    if (is_request || frame.identifier == exchange.receive) {
      trace.entries.push_back({.at = frame.at,
                               .direction = is_request ? Direction::kToEcu : Direction::kToTester,
                               .exchange = exchange,
                               .data = std::move(frame.data)});
    }
  }
  return trace;
}

Trace ReadCanTrace(LineReader& lines, const std::optional<Exchange>& exchange) {
  const bool is_candump = WordsOf(lines.line()).front().starts_with('(');
  const auto read = is_candump ? ReadCandumpLine : ReadAscLine;
  bool is_gateway = false;
  std::vector<LoggedFrame> frames;
  std::string damage;
  try {
    do {
      is_gateway = is_gateway || lines.line().starts_with(kAscGatewayComment);
      if (std::optional<LoggedFrame> frame = lines.Parse(read)) {
        frames.push_back(std::move(*frame));
      }
    } while (lines.Next());
  } catch (const DamagedTrace& error) {
    damage = error.what();
  }
  is_gateway = is_gateway || (!frames.empty() && frames.front().interface == kGatewayInterface);
  const Exchange used = exchange ? *exchange : ExchangeOf(frames, is_gateway);
  Trace trace = TraceOf(std::move(frames), used);
  trace.damage = std::move(damage);
  return trace;
}

bool BeginsAsc(const std::string& line) {
  return line.starts_with("date ") || line.starts_with("base ");
}

void CountFromFirst(Trace& trace) {
  if (trace.entries.empty()) {
    return;
  }
  const Duration first = trace.entries.front().at;
  for (TraceEntry& entry : trace.entries) {
    entry.at -= first;
  }
}

}  // namespace

Trace ReadTrace(std::istream& in, const std::optional<Exchange>& exchange, std::uint64_t most) {
  LineReader lines(in, most);
  if (!lines.Next()) {
    throw DamagedTrace("the trace is empty");
  }
  const std::string& first = lines.line();
  Trace trace;
  if (first.find(kKLineTraceTitle) != std::string::npos) {
    trace = ReadKLineTrace(lines);
  } else if (WordsOf(first).front().starts_with('(') || BeginsAsc(first)) {
    trace = ReadCanTrace(lines, exchange);
  } else {
    lines.Refuse("expected a candump log, an ASC file or a K line trace, found \"" + first + '"');
  }
  CountFromFirst(trace);
  return trace;
}

}  // namespace quillmark::host
