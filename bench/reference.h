// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <pugixml.hpp>
#include <span>
#include <string>
#include <string_view>

#include "bench/inputs.h"

/// What the component is measured against: loops that build the same documents from the same bytes
/// and do nothing else. They share no code with the component. `Reference` cuts and frames; its
/// sink decides where the steps go: `TreeSink` builds pugixml documents (Reference A), `TextSink`
/// writes their text into one preallocated string (Reference B).
namespace quillmark::bench {

/// What comes before the first step of a form's documents, and names their elements.
struct Head {
  std::string_view root;
  std::string_view channel;
  std::string_view line;
};

inline Head HeadOf(Transport transport) {
  switch (transport) {
    case Transport::kPlainCan:
      return {"can", "1850", "1586"};
    case Transport::kGateway:
      return {"can", "3", "13"};
    case Transport::kKLine:
      return {"k", "", ""};
  }
  return {};
}

/// Reference A. `visit` sees each finished document before it is destroyed.
template <typename Visit>
class TreeSink {
 public:
  TreeSink(Transport transport, Visit visit) : head_(HeadOf(transport)), visit_(visit) {}

  void Begin() {
    document_ = std::make_unique<pugi::xml_document>();
    pugi::xml_node declaration = document_->append_child(pugi::node_pi);
    declaration.set_name("xml");
    declaration.set_value("version='1.0'");
    root_ = document_->append_child(head_.root.data());
    AddText(root_, "\r\n");
    steps_ = root_;
    if (!head_.channel.empty()) {
      steps_ = root_.append_child("x");
      steps_.append_attribute("i").set_value(head_.channel.data());
      AddText(steps_, "\r\n");
      AddText(steps_.append_child("i"), head_.line);
      AddText(steps_, "\r\n");
    }
  }

  void Send(std::string_view hex) { AddFrame("s", "d", hex); }
  void Receive(std::string_view hex) { AddFrame("r", "c", hex); }

  void Wait(std::string_view milliseconds) {
    AddText(steps_.append_child("w"), milliseconds);
    AddText(steps_, "\r\n");
  }

  void End(std::uint32_t total) {
    AddText(root_, "\r\n");
    root_.append_attribute("totalbytes").set_value(total);
    visit_(*document_);
    document_.reset();
  }

 private:
  static void AddText(pugi::xml_node parent, std::string_view text) {
    parent.append_child(pugi::node_pcdata).set_value(text.data(), text.size());
  }

  void AddFrame(const char* name, const char* child, std::string_view hex) {
    AddText(steps_.append_child(name).append_child(child), hex);
    AddText(steps_, "\r\n");
  }

  Head head_;
  Visit visit_;
  std::unique_ptr<pugi::xml_document> document_;
  pugi::xml_node root_;
  pugi::xml_node steps_;
};

/// Reference B. `visit` sees the text of each finished document.
template <typename Visit>
class TextSink {
 public:
  TextSink(Transport transport, Visit visit)
      : head_(HeadOf(transport)), visit_(visit), text_(kCapacity, '\0') {}

  void Begin() { end_ = kHeadRoom; }

  void Send(std::string_view hex) { Append("<s><d>", hex, "</d></s>\r\n"); }
  void Receive(std::string_view hex) { Append("<r><c>", hex, "</c></r>\r\n"); }
  void Wait(std::string_view milliseconds) { Append("<w>", milliseconds, "</w>\r\n"); }

  void End(std::uint32_t total) {
    if (!head_.channel.empty()) {
      Append("</x>", "", "");
    }
    Append("\r\n</", head_.root, ">");
    const std::string head = HeadText(total);
    const std::size_t begin = kHeadRoom - head.size();
    std::memcpy(text_.data() + begin, head.data(), head.size());
    visit_(std::string_view(text_).substr(begin, end_ - begin));
  }

 private:
  static constexpr std::size_t kHeadRoom = 128;
  static constexpr std::size_t kCapacity = 4 * kMiB;

  [[nodiscard]] std::string HeadText(std::uint32_t total) const {
    std::string text = "<?xml version='1.0'?><";
    text.append(head_.root).append(" totalbytes=\"").append(std::to_string(total));
    text.append("\">\r\n");
    if (!head_.channel.empty()) {
      text.append("<x i=\"").append(head_.channel).append("\">\r\n<i>");
      text.append(head_.line).append("</i>\r\n");
    }
    return text;
  }

  void Append(std::string_view before, std::string_view text, std::string_view after) {
    for (const std::string_view part : {before, text, after}) {
      std::memcpy(text_.data() + end_, part.data(), part.size());
      end_ += part.size();
    }
  }

  Head head_;
  Visit visit_;
  std::string text_;
  std::size_t end_ = 0;
};

/// Cuts images and ranges and frames the requests of their transfer.
template <typename Sink>
class Reference {
 public:
  static constexpr std::uint8_t kRL = 0x80;
  static constexpr std::uint32_t kUploadSize = 48;

  Reference(const Form& form, Sink& sink) : form_(form), sink_(sink) {
    flow_control_ = "300" + std::to_string(form.block_size);
    if (form.block_size != 1) {
      flow_control_ += "0" + std::to_string(form.separation_time);
    }
    wait_ = std::to_string(form.separation_time);
  }

  /// The image lies at address 0.
  void Download(Span image, std::uint32_t alignment, std::uint32_t max_size) {
    Begin();
    const auto size = static_cast<std::uint32_t>(image.size());
    for (std::uint32_t at = 0; at < size;) {
      if (at % alignment == 0) {
        const std::uint32_t run = FillRun(image.subspan(at));
        const std::uint32_t skipped = run - run % alignment;
        covered_ += skipped;
        at += skipped;
      }
      if (at >= size) {
        break;
      }
      const std::uint32_t count = std::min(size - at, max_size);
      AddDownload(at, image.subspan(at, count));
      at += count;
      Close(count);
    }
    sink_.End(covered_);
  }

  /// One range from address 0 on.
  void Upload(std::uint32_t size) {
    Begin();
    for (std::uint32_t at = 0; at < size; at += kUploadSize) {
      const std::uint32_t count = std::min(size - at, kUploadSize);
      AddUpload(at, static_cast<std::uint8_t>(count));
      Close(count);
    }
    sink_.End(covered_);
  }

 private:
  static constexpr std::uint8_t kTester = 0xF1;

  void Begin() {
    covered_ = 0;
    transferred_ = 0;
    sink_.Begin();
  }

  void Close(std::uint32_t count) {
    covered_ += count;
    transferred_ += count;
    if (transferred_ >= 32768) {
      sink_.End(covered_);
      Begin();
    }
  }

  static std::uint32_t FillRun(Span bytes) {
    const auto* const end = std::find_if(bytes.data(), bytes.data() + bytes.size(),
                                         [](std::uint8_t byte) { return byte != kFillByte; });
    return static_cast<std::uint32_t>(end - bytes.data());
  }

  void AddDownload(std::uint32_t at, Span data) {
    std::array<std::uint8_t, 264> block;
    const std::size_t size = WriteHeader(block, 0x34, kRL, at, data.size());
    std::memcpy(block.data() + size, data.data(), data.size());
    const std::size_t sum_at = size + data.size();
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i < sum_at; ++i) {
      sum += block[i];
    }
    block[sum_at] = static_cast<std::uint8_t>(sum >> 8U);
    block[sum_at + 1] = static_cast<std::uint8_t>(sum);
    const std::array<std::uint8_t, 2> expected = {0x74, 0x02};
    AddStep(Span(block.data(), sum_at + 2), expected, 2);
  }

  void AddUpload(std::uint32_t at, std::uint8_t count) {
    std::array<std::uint8_t, 6> request;
    WriteHeader(request, 0x35, 0x80, at, count);
    std::array<std::uint8_t, 6> expected;
    WriteHeader(expected, 0x75, kRL, at, count);
    AddStep(request, expected, std::size_t{count} + 8);
  }

  template <typename Array>
  static std::size_t WriteHeader(Array& block, std::uint8_t service, std::uint8_t rl,
                                 std::uint32_t at, std::size_t count) {
    block[0] = service;
    block[1] = rl;
    block[2] = static_cast<std::uint8_t>(at >> 16U);
    block[3] = static_cast<std::uint8_t>(at >> 8U);
    block[4] = static_cast<std::uint8_t>(at);
    block[5] = static_cast<std::uint8_t>(count);
    return 6;
  }

  void AddStep(Span request, Span expected, std::size_t reply_length) {
    switch (form_.transport) {
      case Transport::kPlainCan:
        AddPlainRequest(request);
        AddPlainReply(expected, reply_length);
        break;
      case Transport::kGateway:
        AddGatewayRequest(request);
        AddGatewayReply(expected, reply_length);
        break;
      case Transport::kKLine:
        AddKRequest(request);
        AddKReply(expected, reply_length);
        break;
    }
    Wait();
  }

  void Wait() {
    if (form_.separation_time != 0) {
      sink_.Wait(wait_);
    }
  }

  std::string_view Hex(Span bytes) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::size_t at = 0;
    for (const std::uint8_t byte : bytes) {
      hex_[at++] = kDigits[byte >> 4U];
      hex_[at++] = kDigits[byte & 0x0FU];
    }
    return {hex_.data(), at};
  }

  void AddPlainRequest(Span request) {
    if (request.size() < 8) {
      frame_[0] = static_cast<std::uint8_t>(request.size());
      std::memcpy(&frame_[1], request.data(), request.size());
      sink_.Send(Hex(frame_));
      return;
    }
    frame_[0] = static_cast<std::uint8_t>(0x10 + request.size() / 256);
    frame_[1] = static_cast<std::uint8_t>(request.size());
    std::memcpy(&frame_[2], request.data(), 6);
    sink_.Send(Hex(frame_));
    sink_.Receive(flow_control_);
    std::int32_t left = form_.block_size;
    std::uint8_t number = 1;
    std::size_t at = 6;
    for (; request.size() - at > 7; at += 7) {
      consecutive_[0] = static_cast<std::uint8_t>(0x20 + number++ % 16);
      std::memcpy(&consecutive_[1], request.data() + at, 7);
      sink_.Send(Hex(consecutive_));
      if (--left == 0) {
        sink_.Receive(flow_control_);
        left = form_.block_size;
      } else {
        Wait();
      }
    }
    consecutive_[0] = static_cast<std::uint8_t>(0x20 + number % 16);
    std::memcpy(&consecutive_[1], request.data() + at, request.size() - at);
    sink_.Send(Hex(consecutive_));
  }

  void AddPlainReply(Span expected, std::size_t length) {
    std::array<std::uint8_t, 16> start;
    std::size_t size = 0;
    if (length > 7) {
      start[size++] = static_cast<std::uint8_t>(0x10 + length / 256);
    }
    start[size++] = static_cast<std::uint8_t>(length);
    std::memcpy(&start[size], expected.data(), expected.size());
    sink_.Receive(Hex(Span(start.data(), size + expected.size())));
    if (length <= 7) {
      return;
    }
    for (std::size_t index = 1; index <= length / 7; ++index) {
      sink_.Send("3001000000000000");
      const std::array<char, 2> prefix = {'2', "0123456789ABCDEF"[index % 16]};
      sink_.Receive({prefix.data(), prefix.size()});
    }
  }

  /// Writes a message with `length` data bytes, of which `data` are known; returns the known size.
  std::size_t BuildMessage(std::uint8_t* message, std::uint8_t target, std::uint8_t source,
                           Span data, std::size_t length) {
    std::size_t size = 0;
    message[size++] = static_cast<std::uint8_t>(length < 63 ? 0x80 + length : 0x80);
    message[size++] = target;
    message[size++] = source;
    if (length >= 63) {
      message[size++] = static_cast<std::uint8_t>(length);
    }
    std::memcpy(message + size, data.data(), data.size());
    size += data.size();
    if (data.size() == length) {
      std::uint8_t sum = 0;
      for (std::size_t i = 0; i < size; ++i) {
        sum = static_cast<std::uint8_t>(sum + message[i]);
      }
      message[size++] = sum;
    }
    return size;
  }

  [[nodiscard]] std::uint8_t Ecu() const { return static_cast<std::uint8_t>(form_.XCANId); }

  void AddKRequest(Span request) {
    const std::size_t size = BuildMessage(message_.data(), Ecu(), kTester, request, request.size());
    sink_.Send(Hex(Span(message_.data(), size)));
  }

  void AddKReply(Span expected, std::size_t length) {
    const std::size_t size = BuildMessage(message_.data(), kTester, Ecu(), expected, length);
    sink_.Receive(Hex(Span(message_.data(), size)));
  }

  static std::size_t FrameCount(std::size_t length) {
    return (1 + (length < 63 ? 3 : 4) + length + 1 + 7) / 8;
  }

  [[nodiscard]] Span Frame(std::size_t index, std::size_t size) const {
    const std::size_t from = std::min(index * 8, size);
    return Span(message_.data() + from, std::min<std::size_t>(8, size - from));
  }

  void AddGatewayRequest(Span request) {
    const std::size_t count = FrameCount(request.size());
    message_[0] = static_cast<std::uint8_t>(count);
    const std::size_t size =
        1 + BuildMessage(&message_[1], Ecu(), kTester, request, request.size());
    for (std::size_t index = 0; index < count; ++index) {
      if (index > 0) {
        sink_.Receive("81");
      }
      sink_.Send(Hex(Frame(index, size)));
    }
  }

  void AddGatewayReply(Span expected, std::size_t length) {
    const std::size_t count = FrameCount(length);
    message_[0] = static_cast<std::uint8_t>(count);
    const std::size_t size = 1 + BuildMessage(&message_[1], kTester, Ecu(), expected, length);
    for (std::size_t index = 0; index < count; ++index) {
      if (index > 0) {
        sink_.Send("81");
      }
      sink_.Receive(Hex(Frame(index, size)));
    }
  }

  Form form_;
  Sink& sink_;
  std::string flow_control_;
  std::string wait_;
  std::uint32_t covered_ = 0;
  std::uint32_t transferred_ = 0;
  std::array<std::uint8_t, 8> frame_{};
  std::array<std::uint8_t, 8> consecutive_{};
  std::array<std::uint8_t, 264> message_{};
  std::array<char, 528> hex_{};
};

}  // namespace quillmark::bench
