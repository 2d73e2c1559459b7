// SPDX-License-Identifier: MIT
// A pass-thru library that breaks the rules itself. QUILLMARK_HOSTILE says how: "count" returns
// more messages than were asked for, "size" a message that is longer than one can be, anything else
// a failure whose text has no end.
#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "host/bus/pass_thru_api.h"

namespace api = quillmark::host::pass_thru;

namespace {

using Word = std::uint32_t;
using Result = api::Functions<Word>::Result;

std::string_view Mode() {
  const char* const mode = std::getenv("QUILLMARK_HOSTILE");
  return mode == nullptr ? "" : mode;
}

}  // namespace

#define EXPORTED extern "C" [[gnu::visibility("default")]] Result

EXPORTED PassThruOpen(void* /*name*/, Word* device) {
  *device = 1;
  return 0;
}
EXPORTED PassThruClose(Word /*device*/) { return 0; }
EXPORTED PassThruConnect(Word /*device*/, Word /*protocol*/, Word /*flags*/, Word /*baud*/,
                         Word* channel) {
  *channel = 1;
  return 0;
}
EXPORTED PassThruDisconnect(Word /*channel*/) { return 0; }
EXPORTED PassThruReadMsgs(Word /*channel*/, api::Message<Word>* messages, Word* count,
                          Word /*timeout*/) {
  if (Mode() == "count") {
    *count = 1000;
    return 0;
  }
  if (Mode() == "size") {
    messages->size = 0xFFFFFFFF;
    return 0;
  }
  return 0x7777;
}
EXPORTED PassThruWriteMsgs(Word /*channel*/, api::Message<Word>* /*messages*/, Word* /*count*/,
                           Word /*timeout*/) {
  return 0;
}
EXPORTED PassThruStartMsgFilter(Word /*channel*/, Word /*type*/, api::Message<Word>* /*mask*/,
                                api::Message<Word>* /*pattern*/, api::Message<Word>* /*flow*/,
                                Word* filter) {
  *filter = 1;
  return 0;
}
EXPORTED PassThruReadVersion(Word /*device*/, char* firmware, char* library, char* version) {
  for (char* const text : {firmware, library, version}) {
    std::fill_n(text, api::kTextSize, '\x1B');
  }
  return 0;
}
EXPORTED PassThruGetLastError(char* text) {
  std::fill_n(text, api::kTextSize, '\xFF');
  return 0;
}
EXPORTED PassThruIoctl(Word /*handle*/, Word /*id*/, void* /*input*/, void* /*output*/) {
  return 0;
}
