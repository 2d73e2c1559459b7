// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <algorithm>
#include <string>

#include "host/decode/message_joiner.h"
#include "host/runner/request_document.h"
#include "quillmark/host/decode.h"
#include "quillmark/host/text.h"

namespace quillmark::host {
namespace {

constexpr std::size_t kBytesShown = 8;
/// "34 00 00 80 00 80 01 02 .."
constexpr std::size_t kBytesWidth = 3 * kBytesShown + 2;

char Arrow(Direction direction) { return direction == Direction::kToEcu ? '>' : '<'; }

std::string Shortened(ByteView bytes) {
  const ByteView shown = bytes.first(std::min(bytes.size(), kBytesShown));
  const std::string text = fmt::format("{:02X}", fmt::join(shown, " "));
  return bytes.size() > kBytesShown ? text + " .." : text;
}

std::string TimeColumn(Duration at) {
  return fmt::format("{:>11.6f} ", std::chrono::duration<double>(at).count());
}

std::string Title(const Exchange& exchange) {
  switch (exchange.form) {
    case TransportForm::kPlainCan:
      return fmt::format("plain CAN, requests on {:X}, replies on {:X}", exchange.send,
                         exchange.receive);
    case TransportForm::kGateway:
      return fmt::format("CAN gateway, channel {}, line {}", exchange.receive, exchange.send);
    default:
      return "K line";
  }
}

std::string MessageLine(Direction direction, std::size_t frames, ByteView bytes,
                        const std::string& text) {
  return fmt::format("{} {:>4}  {:<{}}  {}\n", Arrow(direction), frames, Shortened(bytes),
                     kBytesWidth, text);
}

std::string FrameLine(Direction direction, ByteView data, const std::string& text) {
  return fmt::format("{}       {:02X}  {}\n", Arrow(direction), fmt::join(data, " "), text);
}

std::string OnOneLine(std::string text) {
  std::replace(text.begin(), text.end(), '\n', ' ');
  return text;
}

/// The steps of a document, joined.
class DocumentListing {
 public:
  DocumentListing(const RequestDocument& document, const Exchange& exchange, ListingDetail detail)
      : document_(document), exchange_(exchange), detail_(detail), joiner_(exchange.form) {}

  void Print(std::ostream& out) {
    for (const Step& step : document_.steps) {
      Add(step);
    }
    joiner_.Finish();
    out << "# " << Title(exchange_) << ", " << State() << '\n';
    for (const Line& line : lines_) {
      out << (line.is_message ? TextOfMessage(line.message) : line.text);
    }
  }

 private:
  struct Line {
    bool is_message = false;
    std::size_t message = 0;
    std::string text{};
  };
  struct Facts {
    std::size_t frames = 0;
    bool is_expected = false;
  };

  void Add(const Step& step) {
    switch (step.kind) {
      case StepKind::kSend:
        if (!step.failure) {
          AddFrame(Direction::kToEcu, step.frame, false);
        }
        AddTries(step);
        break;
      case StepKind::kReceive:
        AddReply(step);
        break;
      case StepKind::kWait:
        AddPause("wait", step);
        break;
      case StepKind::kBreak:
        AddPause("break", step);
        break;
    }
    if (step.failure) {
      has_failed_ = true;
      lines_.push_back({.text = "! failed: " + OnOneLine(*step.failure) + '\n'});
    }
  }

  /// A request that was sent more often than once, or counts as done without an answer.
  void AddTries(const Step& step) {
    const auto element = std::dynamic_pointer_cast<IXMLDOMElement>(step.element);
    if (const auto tries = element->getAttribute("tries")) {
      lines_.push_back({.text = fmt::format("  tries: {}\n", OnOneLine(*tries))});
    }
  }

  void AddReply(const Step& step) {
    was_run_ = was_run_ || step.received || step.failure;
    if (step.received) {
      AddFrame(Direction::kToTester, *step.received, false);
    } else if (!was_run_) {
      AddFrame(Direction::kToTester, BytesOfHex(step.expected).value_or(Bytes{}), true);
    }
  }

  void AddFrame(Direction direction, ByteView frame, bool is_expected) {
    if (has_failed_) {
      return;
    }
    const JoinedFrame joined = joiner_.Add(direction, frame);
    if (joined.message >= facts_.size()) {
      facts_.push_back({.is_expected = is_expected});
      lines_.push_back({.is_message = true, .message = joined.message});
    }
    ++facts_[joined.message].frames;
    if (detail_ == ListingDetail::kFrames) {
      lines_.push_back({.text = FrameLine(direction, frame, std::string(NameOf(joined.kind)))});
    }
  }

  /// Waits within a message are its separation time.
  void AddPause(const char* name, const Step& step) {
    if (!joiner_.IsInsideMessage() || detail_ == ListingDetail::kFrames) {
      lines_.push_back({.text = fmt::format("  {} {} ms\n", name, step.time.count())});
    }
  }

  [[nodiscard]] std::string State() const {
    if (has_failed_) {
      return "run and failed";
    }
    return was_run_ ? "run" : "not run yet";
  }

  [[nodiscard]] std::string TextOfMessage(std::size_t index) const {
    const JoinedMessage& message = joiner_.messages()[index];
    const Facts& facts = facts_[index];
    std::string text = TextOf(Describe(message.bytes));
    if (facts.is_expected) {
      text = fmt::format("expected, {}: {}", CountText(message.announced, "byte"), text);
    } else if (!message.defect.empty()) {
      text += " [" + message.defect + ']';
    }
    return MessageLine(message.direction, facts.frames, message.bytes, text);
  }

  const RequestDocument& document_;
  Exchange exchange_;
  ListingDetail detail_;
  MessageJoiner joiner_;
  std::vector<Line> lines_;
  std::vector<Facts> facts_;
  bool was_run_ = false;
  bool has_failed_ = false;
};

/// The frames of each message, which may be interleaved with those of another one.
std::vector<std::vector<const DecodedFrame*>> FramesByMessage(const Decoding& decoding) {
  std::vector<std::vector<const DecodedFrame*>> frames(decoding.messages.size());
  for (const DecodedFrame& frame : decoding.frames) {
    frames[frame.role.message].push_back(&frame);
  }
  return frames;
}

}  // namespace

void ListTrace(std::ostream& out, const Decoding& decoding, ListingDetail detail) {
  out << fmt::format("# {}, {} in {}\n", Title(decoding.exchange),
                     CountText(decoding.frames.size(), "frame"),
                     CountText(decoding.messages.size(), "message"));
  const auto frames = FramesByMessage(decoding);
  auto pause = decoding.breaks.begin();
  for (std::size_t i = 0; i < decoding.messages.size() && out; ++i) {
    const DecodedMessage& message = decoding.messages[i];
    for (; pause != decoding.breaks.end() && pause->at <= message.began; ++pause) {
      out << TimeColumn(pause->at) << "  break " << pause->low.count() << " ms\n";
    }
    out << TimeColumn(message.began)
        << MessageLine(message.message.direction, message.frames, message.message.bytes,
                       TextOf(message));
    if (detail == ListingDetail::kFrames) {
      for (const DecodedFrame* const frame : frames[i]) {
        out << TimeColumn(frame->at)
            << FrameLine(frame->direction, frame->data, std::string(NameOf(frame->role.kind)));
      }
    }
  }
}

void ListDocument(std::ostream& out, const DOMDocument& document, TransportForm form,
                  ListingDetail detail) {
  const RequestDocument request = ReadRequestDocument(document);
  DocumentListing(request, ExchangeOf(request, form), detail).Print(out);
}

}  // namespace quillmark::host
