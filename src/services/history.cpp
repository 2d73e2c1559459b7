// SPDX-License-Identifier: MIT
#include <cstddef>
#include <string>

#include "base/byte_access.h"
#include "base/guards.h"
#include "context/message_table.h"
#include "context/reply.h"
#include "services/services.h"

namespace quillmark::services {
namespace {

constexpr std::size_t kEntryCount = 8;
constexpr std::size_t kRequiredEntries = 2;
constexpr std::size_t kRecordPosition = 3;

struct EntryPaths {
  std::string history;
  std::string reprogramming;
};

/// D16.
EntryPaths KLinePaths(std::size_t entry) {
  const std::string k_path = ReplyPath(TransportForm::kKLine);
  const std::string can_path = ReplyPath(TransportForm::kPlainCan);
  const std::size_t index = 2 * entry + 2;
  return {Indexed(entry < kRequiredEntries ? k_path : can_path, index),
          Indexed(can_path, index + 1)};
}

/// Each 26-byte reply takes four `r` elements, so an entry takes eight. In plain CAN form, the
/// reply to the second session request is between the identification and the entries.
EntryPaths CANPaths(std::size_t entry, bool gateway_form) {
  const std::string path = ReplyPath(TransportForm::kPlainCan);
  const std::size_t history = (gateway_form ? 5 : 6) + 8 * entry;
  return {Indexed(path, history), Indexed(path, history + 4)};
}

EntryPaths PathsOf(std::size_t entry, const Addressing& addressing) {
  if (addressing.Form() == TransportForm::kKLine) {
    return KLinePaths(entry);
  }
  return CANPaths(entry, addressing.gateway_form);
}

/// Stores the record that starts at `path`. Returns false, and stores nothing, if the reply does
/// not have the length of a record.
bool ReadRecord(const Context& context, const std::shared_ptr<DOMDocument>& root,
                const std::string& path, std::shared_ptr<ByteString>& record) {
  const Bytes reply = ReadReplyAtPath(context.Form(), root, path);
  if (reply.size() != kRecordReplyLength) {
    return false;
  }
  auto copy = NotNull(context.GetPlatform().CreateByteString());
  copy->SetBytes(ViewFrom(reply, kRecordPosition));
  record = std::move(copy);
  return true;
}

}  // namespace

void gethisto(const Context& context, const std::shared_ptr<DOMDocument>& root,
              ByteStringArray& RepHisto, ByteStringArray& RepReprog,
              std::shared_ptr<ByteString>& RepIdent) {
  RepHisto.assign(kEntryCount, nullptr);
  RepReprog.assign(kEntryCount, nullptr);
  RepIdent.reset();

  if (!ReadRecord(context, root, Indexed(ReplyPath(context.Form()), 1), RepIdent)) {
    RaiseMessage(error_number::kNotReprogrammable);
  }
  for (std::size_t entry = 0; entry < kEntryCount; ++entry) {
    const EntryPaths paths = PathsOf(entry, context.GetAddressing());
    if (ReadRecord(context, root, paths.history, RepHisto[entry]) &&
        ReadRecord(context, root, paths.reprogramming, RepReprog[entry])) {
      continue;
    }
    if (entry < kRequiredEntries) {
      RaiseMessage(error_number::kNotReprogrammable);
    }
    return;
  }
}

}  // namespace quillmark::services
