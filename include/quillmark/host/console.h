// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <istream>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>

#include "quillmark/diag_on_can_reprog.h"
#include "quillmark/export.h"
#include "quillmark/platform.h"

namespace quillmark::host {

/// What a console works on, so that it can drive any platform.
struct ConsoleEnvironment {
  /// Makes the object that is called, on `platform`.
  std::function<std::shared_ptr<DiagOnCANReprog>()> create_object{};
  std::shared_ptr<Platform> platform{};  ///< makes the arguments
  /// Returns once no worker runs; events may be delivered meanwhile.
  std::function<void()> wait_for_workers{};
};

/// One object, called by lines of JSON.
///
/// A call is an object `{"call":NAME,"args":[…]}`, where NAME is a member of `DiagOnCANReprog`, or
/// `new`, which continues with a new object. `args` may be omitted if it would be empty; other keys
/// are ignored. Arguments are in the order of the member's parameters:
///
/// - a Long or a Byte is a number; 10.0 and 1e1 are the number 10, 1.5 is of the wrong type
/// - a byte string is hexadecimal text, a document its XML text
/// - an image is a list of `{"at":ADDRESS,"hex":TEXT}`, a map a list of
///   `{"start":ADDRESS,"count":NUMBER}`
/// - `ComputeDownload` and `ComputeUpload` may take one more argument, `{"cancel_at":K}`: the
///   handler leaves `Cancel` untouched at the K-th event, counted from 1
///
/// The answer is one line, `{"call":NAME,"result":…}` or
/// `{"call":NAME,"error":{"number":N,"description":TEXT}}`:
///
/// - null if a call has no result, otherwise a document's XML text, hexadecimal text, true or false
/// - `gethisto`: `{"RepIdent":…,"RepHisto":[8],"RepReprog":[8]}`, hexadecimal text or null each;
///   where the call itself fails, `result` holds what it stored and `error` follows
/// - `checkupload`: the image after it
/// - `ComputeDownload`, `ComputeUpload`: the list of what `XMLReady` carried until the worker had
///   ended, null for an empty `Node`
///
/// Checked in this order: the line is such an object (13, and `call` is null; a number too large
/// for a double is 6), the call is known (438), the number of arguments is right (450), then
/// argument by argument from the left: the wrong type is 13, a number out of range 6. Everything
/// else is an error of the component. After an error the object is unchanged.
class QUILLMARK_API Console {
 public:
  /// Creates the first object. Raises the errors of `create_object`.
  explicit Console(ConsoleEnvironment environment);

  /// The answer to one line, without line end; always valid JSON in UTF-8, whatever the line is.
  [[nodiscard]] std::string Answer(std::string_view line);

 private:
  ConsoleEnvironment environment_;
  std::shared_ptr<DiagOnCANReprog> object_;
};

/// Answers `in` line by line on `out`, flushed after each; blank lines are skipped. False if `in`
/// cannot be read to its end or `out` cannot be written.
[[nodiscard]] QUILLMARK_API bool RunConsole(std::istream& in, std::ostream& out,
                                            ConsoleEnvironment environment);

}  // namespace quillmark::host
