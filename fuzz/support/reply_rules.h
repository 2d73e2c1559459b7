// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "quillmark/dom.h"
#include "quillmark/host/bus.h"
#include "quillmark/host/bytes.h"

namespace quillmark::fuzz {

/// What a check method must do with a document: return a result or raise an error.
struct Verdict {
  std::int32_t number = 0;  ///< of the error; 0 if none is raised
  std::string text;         ///< its description, or the result in a text form of its own

  friend bool operator==(const Verdict&, const Verdict&) = default;
};

/// The rules of the check methods, implemented a second time: each takes a run document and says
/// what the result must be. Of the component, these use the document interface alone.
class ReplyRules {
 public:
  ReplyRules(host::TransportForm form, const DOMDocument& document)
      : form_(form), document_(document) {}

  /// "RepIdent histo0 … histo7 reprog0 … reprog7", a dash for a record that is not there; if it
  /// raises an error, that error's text and then the same.
  [[nodiscard]] Verdict gethisto() const;
  [[nodiscard]] Verdict getseed() const;
  [[nodiscard]] Verdict checkunlock() const;
  [[nodiscard]] Verdict checkstarterase() const;
  [[nodiscard]] Verdict checkcheckerase() const;
  [[nodiscard]] Verdict checkstartroutine(std::uint8_t routine) const;
  [[nodiscard]] Verdict checkroutine(std::uint8_t routine) const;
  [[nodiscard]] Verdict checkdownload() const;
  [[nodiscard]] Verdict checkwritelogzone() const;
  /// "address=data " for each segment, in address order.
  [[nodiscard]] Verdict checkupload() const;

 private:
  [[nodiscard]] host::Bytes ReplyAt(const std::string& path) const;
  [[nodiscard]] host::Bytes Reply(std::size_t index) const;
  [[nodiscard]] std::string Path() const;
  [[nodiscard]] std::string HistoryPath(std::size_t entry, bool second) const;
  [[nodiscard]] std::size_t SecondInGateway() const;
  [[nodiscard]] Verdict ErrorMark(std::int32_t number, const std::string& text) const;

  host::TransportForm form_;
  const DOMDocument& document_;
};

}  // namespace quillmark::fuzz
