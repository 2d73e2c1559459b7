// SPDX-License-Identifier: MIT
#include "host/decode/message_joiner.h"
#include "quillmark/host/decode.h"

namespace quillmark::host {
namespace {

void AddFrame(const TraceEntry& entry, MessageJoiner& joiner, Decoding& decoding) {
  const JoinedFrame role = joiner.Add(entry.direction, entry.data);
  decoding.frames.push_back({entry.at, entry.direction, entry.data, role});
  if (role.message >= decoding.messages.size()) {
    decoding.messages.push_back({.began = entry.at});
  }
  DecodedMessage& message = decoding.messages[role.message];
  message.ended = entry.at;
  ++message.frames;
}

}  // namespace

Decoding Decode(const Trace& trace) {
  Decoding decoding{.exchange = trace.exchange};
  MessageJoiner joiner(trace.exchange.form);
  for (const TraceEntry& entry : trace.entries) {
    if (entry.kind == TraceEntryKind::kBreak) {
      decoding.breaks.push_back(entry);
    } else {
      AddFrame(entry, joiner, decoding);
    }
  }
  joiner.Finish();
  for (std::size_t i = 0; i < decoding.messages.size(); ++i) {
    decoding.messages[i].message = joiner.messages()[i];
    decoding.messages[i].description = Describe(joiner.messages()[i].bytes);
  }
  return decoding;
}

std::string TextOf(const DecodedMessage& message) {
  const std::string& defect = message.message.defect;
  const std::string text = TextOf(message.description);
  return defect.empty() ? text : text + " [" + defect + ']';
}

}  // namespace quillmark::host
