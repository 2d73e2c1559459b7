// SPDX-License-Identifier: MIT
#include "bench/reply_documents.h"

#include <algorithm>
#include <deque>

#include "bench/reference.h"

namespace quillmark::bench {
namespace {

constexpr std::string_view kDigits = "0123456789ABCDEF";
constexpr std::uint8_t kTester = 0xF1;

std::string HexText(Span bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += kDigits[byte >> 4U];
    text += kDigits[byte & 0x0FU];
  }
  return text;
}

/// `message` as ISO 15765-2 frames, padded with zero.
std::vector<Message> PlainFrames(const Message& message) {
  std::vector<Message> frames(1);
  frames[0] = {static_cast<std::uint8_t>(message.size())};
  if (message.size() > 7) {
    frames[0].insert(frames[0].begin(), 0x10);
  }
  for (const std::uint8_t byte : message) {
    if (frames.back().size() == 8) {
      frames.push_back({static_cast<std::uint8_t>(0x20 + frames.size() % 16)});
    }
    frames.back().push_back(byte);
  }
  frames.back().resize(8);
  return frames;
}

/// `message` as an ISO 14230-2 message from the ECU to the tester.
Message KMessage(const Form& form, const Message& message) {
  const auto length = static_cast<std::uint8_t>(message.size());
  Message framed = {static_cast<std::uint8_t>(length < 63 ? 0x80 + length : 0x80), kTester,
                    static_cast<std::uint8_t>(form.XCANId)};
  if (length >= 63) {
    framed.push_back(length);
  }
  framed.insert(framed.end(), message.begin(), message.end());
  std::uint8_t sum = 0;
  for (const std::uint8_t byte : framed) {
    sum = static_cast<std::uint8_t>(sum + byte);
  }
  framed.push_back(sum);
  return framed;
}

std::vector<Message> GatewayFrames(const Form& form, const Message& message) {
  Message framed = KMessage(form, message);
  framed.insert(framed.begin(), static_cast<std::uint8_t>((framed.size() + 1 + 7) / 8));
  std::vector<Message> frames;
  for (std::size_t at = 0; at < framed.size(); at += 8) {
    const auto begin = framed.begin() + static_cast<std::ptrdiff_t>(at);
    const auto rest = static_cast<std::ptrdiff_t>(framed.size() - at);
    frames.emplace_back(begin, begin + std::min<std::ptrdiff_t>(8, rest));
  }
  return frames;
}

std::vector<Message> FramesOf(const Form& form, const Message& message) {
  switch (form.transport) {
    case Transport::kPlainCan:
      return PlainFrames(message);
    case Transport::kGateway:
      return GatewayFrames(form, message);
    case Transport::kKLine:
      break;
  }
  return {KMessage(form, message)};
}

bool IsFlowControl(const Form& form, std::string_view expected) {
  return (form.transport == Transport::kGateway && expected == "81") ||
         (form.transport == Transport::kPlainCan && expected.starts_with("30"));
}

/// The documents of a run, their steps in one.
struct OneDocument {
  void operator()(std::string_view text) { texts.emplace_back(text); }
  std::vector<std::string> texts;
};

/// Puts the steps of all `texts` into the first.
std::string Join(const Form& form, const std::vector<std::string>& texts) {
  const std::string_view tail = form.transport == Transport::kKLine ? "\r\n</k>" : "</x>\r\n</can>";
  const std::string_view head_end = form.transport == Transport::kKLine ? "\">\r\n" : "</i>\r\n";
  std::string joined = texts.front().substr(0, texts.front().find(head_end) + head_end.size());
  for (const std::string& text : texts) {
    const std::size_t begin = text.find(head_end) + head_end.size();
    joined.append(text, begin, text.size() - tail.size() - begin);
  }
  return joined.append(tail);
}

template <typename Run>
std::string BuildOne(const Form& form, Run run) {
  OneDocument all;
  TextSink<OneDocument&> sink(form.transport, all);
  run(Reference(form, sink));
  return Join(form, all.texts);
}

Message UploadReply(std::uint32_t at, std::size_t count) {
  Message reply = {0x75,
                   0x80,
                   static_cast<std::uint8_t>(at >> 16U),
                   static_cast<std::uint8_t>(at >> 8U),
                   static_cast<std::uint8_t>(at),
                   static_cast<std::uint8_t>(count)};
  for (std::size_t i = 0; i < count + 2; ++i) {
    reply.push_back(static_cast<std::uint8_t>(at + i * 7));
  }
  return reply;
}

}  // namespace

std::string Fill(const Form& form, std::string_view request, const std::vector<Message>& replies) {
  std::deque<std::string> frames;
  for (const Message& reply : replies) {
    for (const Message& frame : FramesOf(form, reply)) {
      frames.push_back(HexText(frame));
    }
  }
  constexpr std::string_view kOpen = "<r><c>";
  constexpr std::string_view kClose = "</c>";
  std::string filled;
  std::size_t at = 0;
  while (true) {
    const std::size_t open = request.find(kOpen, at);
    if (open == std::string_view::npos) {
      return filled.append(request.substr(at));
    }
    const std::size_t text = open + kOpen.size();
    const std::size_t end = request.find(kClose, text);
    const std::string_view expected = request.substr(text, end - text);
    filled.append(request.substr(at, end + kClose.size() - at)).append("<d>");
    if (frames.empty() || IsFlowControl(form, expected)) {
      filled.append(expected);
    } else {
      filled.append(frames.front());
      frames.pop_front();
    }
    filled.append("</d>");
    at = end + kClose.size();
  }
}

std::string RunUploadDocument(const Form& form, std::uint32_t size) {
  constexpr std::uint32_t kRequestSize = 48;
  std::vector<Message> replies;
  for (std::uint32_t at = 0; at < size; at += kRequestSize) {
    replies.push_back(UploadReply(at, std::min(kRequestSize, size - at)));
  }
  return Fill(form, BuildOne(form, [&](auto reference) { reference.Upload(size); }), replies);
}

std::string RunDownloadDocument(const Form& form, Span image) {
  return Fill(form, BuildOne(form, [&](auto reference) { reference.Download(image, 16, 128); }),
              {});
}

}  // namespace quillmark::bench
