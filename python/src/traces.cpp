// SPDX-License-Identifier: MIT
#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>
#include <utility>

#include "arguments.h"
#include "bindings.h"
#include "errors.h"
#include "python_bus.h"
#include "quillmark/host/artifacts.h"
#include "quillmark/host/decode.h"
#include "quillmark/host/files.h"
#include "quillmark/host/report.h"
#include "quillmark/host/text.h"
#include "quillmark/host/trace.h"
#include "shared_objects.h"
#include "transfer_platform.h"

namespace quillmark::python {
namespace {

namespace fs = std::filesystem;
using Form = host::TransportForm;
using Identifiers = std::optional<std::pair<std::uint32_t, std::uint32_t>>;

const char* KindOf(host::Direction direction) {
  return direction == host::Direction::kToEcu ? "send" : "receive";
}

py::object EntryOf(const host::TraceEntry& entry) {
  const bool is_break = entry.kind == host::TraceEntryKind::kBreak;
  return TypeNamed("TraceEntry")(is_break ? "break" : KindOf(entry.direction),
                                 host::SecondsOf(entry.at), PythonBytes(entry.data),
                                 std::chrono::duration<double>(entry.low).count());
}

py::list EntriesOf(const host::Trace& trace) {
  py::list entries;
  for (const host::TraceEntry& entry : trace.entries) {
    entries.append(EntryOf(entry));
  }
  return entries;
}

py::list MessagesOf(const host::Trace& trace) {
  py::list messages;
  for (const host::DecodedMessage& message : host::Decode(trace).messages) {
    messages.append(TypeNamed("TraceMessage")(
        KindOf(message.message.direction), host::SecondsOf(message.began),
        host::SecondsOf(message.ended), PythonBytes(message.message.bytes), host::TextOf(message),
        message.frames));
  }
  return messages;
}

std::optional<host::Exchange> ExchangeOf(const Identifiers& ids) {
  return ids ? std::optional(host::Exchange{Form::kPlainCan, ids->first, ids->second})
             : std::nullopt;
}

host::Trace ReadTraceText(const std::string& text, const Identifiers& ids) {
  std::istringstream in(text);
  host::Trace trace = host::ReadTrace(in, ExchangeOf(ids));
  if (trace.entries.empty() && !trace.damage.empty()) {
    throw host::DamagedTrace(trace.damage);
  }
  return trace;
}

host::Trace ReadTraceFile(const fs::path& path, const Identifiers& ids) {
  const std::string text = host::ReadFile(path, host::kLargestTrace);
  try {
    const WithoutGil released;
    return ReadTraceText(text, ids);
  } catch (const host::DamagedTrace& error) {
    throw py::value_error(path.string() + ": " + error.what());
  }
}

void SaveTrace(const host::Trace& trace, const fs::path& path) {
  const WithoutGil released;
  host::OutputFile file(path, host::Existing::kReplaced);
  host::TraceWriter writer(file.stream(), host::TraceFormatOfName(path, trace.exchange.form),
                           host::TraceWriter::Clock::now());
  for (const host::TraceEntry& entry : trace.entries) {
    writer.Write(entry);
  }
  file.Commit();
}

host::ListingDetail DetailOf(bool frames) {
  return frames ? host::ListingDetail::kFrames : host::ListingDetail::kMessages;
}

std::string ListTrace(const host::Trace& trace, bool frames) {
  std::ostringstream out;
  host::ListTrace(out, host::Decode(trace), DetailOf(frames));
  return out.str();
}

std::string ListDocument(const Document& document, const std::optional<std::string>& form,
                         bool frames) {
  return document.Use([&](const auto& native) {
    const auto root = native->documentElement();
    const bool is_k_line = root && root->nodeName() == "k";
    std::ostringstream out;
    host::ListDocument(out, *native,
                       form        ? FormOf(*form)
                       : is_k_line ? Form::kKLine
                                   : Form::kPlainCan,
                       DetailOf(frames));
    return out.str();
  });
}

/// A bus that keeps the one behind it, and its trace.
class TracedBus : public host::TracingBus {
 public:
  TracedBus(std::shared_ptr<host::Bus> bus, const std::shared_ptr<host::TraceFile>& file)
      : TracingBus(*bus, [file](const host::TraceEntry& entry) { file->Write(entry); }),
        bus_(std::move(bus)) {}

 private:
  std::shared_ptr<host::Bus> bus_;
};

std::shared_ptr<Bus> MakeTracingBus(const py::object& behind, const fs::path& path) {
  const std::shared_ptr<Bus> bus = BusOf(behind);
  const auto file = std::make_shared<host::TraceFile>(
      path, host::TraceFormatOfName(path, bus->form()), host::Existing::kReplaced);
  auto traced =
      bus->Use([&](const auto& native) { return std::make_shared<TracedBus>(native, file); });
  auto made = std::make_shared<Bus>(std::move(traced), bus->form(), bus->mutex(), bus->raised());
  made->OnClose([file] { file->Close(); });
  return made;
}

host::Artifacts ReadFolder(const fs::path& folder) {
  try {
    return host::ReadArtifacts(folder);
  } catch (const host::UnreadableArtifacts& error) {
    Raise(py::reinterpret_borrow<py::object>(PyExc_OSError)(ENOENT, error.what(), folder.string()));
  } catch (const host::DamagedArtifacts& error) {
    throw py::value_error(folder.string() + ": " + error.what());
  }
}

std::string Report(const fs::path& folder, const std::optional<fs::path>& output) {
  const host::Artifacts artifacts = ReadFolder(folder);
  for (const std::string& warning : artifacts.warnings) {
    Warn(warning);
  }
  std::string page = host::RenderPage(artifacts);
  if (output) {
    host::WriteFile(*output, page);
  }
  return page;
}

}  // namespace

void BindTraces(py::module_& module) {
  py::class_<host::Trace>(module, "Trace",
                          R"(What passed on a bus between a tester and an ECU.

read_trace reads one. str() lists its messages, as decode does.)")
      .def_property_readonly(
          "form", [](const host::Trace& self) { return host::NameOf(self.exchange.form); },
          "\"can\", \"gateway\" or \"kline\".")
      .def_property_readonly(
          "ids",
          [](const host::Trace& self) {
            return std::pair(self.exchange.receive, self.exchange.send);
          },
          "The identifiers that the tester receives and sends on; a gateway's channel and line.")
      .def_property_readonly("entries", &EntriesOf,
                             "A TraceEntry for each frame and break, in the order of their times.")
      .def_property_readonly("messages", &MessagesOf,
                             "The frames joined: a TraceMessage for each message.")
      .def_readonly("damage", &host::Trace::damage,
                    "The line that ended the file early, and what is wrong with it; empty for a "
                    "whole trace.")
      .def("save", &SaveTrace, py::arg("path"),
           "Writes a candump log (.log) or an ASC file (.asc), of a K line readable lines (.log, "
           ".txt). An existing\nfile is replaced once the new one is complete. Raises OSError, and "
           "ValueError for another extension.")
      .def("__str__", [](const host::Trace& self) { return ListTrace(self, false); })
      .def("__repr__", [](const host::Trace& self) {
        return "<quillmark.Trace " + host::CountText(self.entries.size(), "entry") + '>';
      });
  module.def(
      "TracingBus", &MakeTracingBus, py::arg("bus"), py::arg("path"),
      R"(A bus that passes everything to the one behind it, and writes each frame into a file.

bus: a Bus, what can_bus gives, or an object of your own. path: as Trace.save has it; an existing file is
replaced. What has passed is in the file at once. Closing it, which leaves the bus behind it open, raises OSError
if not everything could be written; a disk that is full does not stop the work on the ECU before.)");
  module.def("read_trace", &ReadTraceFile, py::arg("path"), py::kw_only(),
             py::arg("ids") = py::none(),
             R"(Reads a candump log, an ASC file or a K line trace into a Trace.

ids: the identifiers to receive and to send on, others are left out; None takes the first two, of which the first is
the tester's. A damaged line ends the trace, which says so. Raises OSError for a file that cannot be read, ValueError
for one that is no trace.)");
  module.def("_decode_trace", &ListTrace, "The messages of a trace.");
  module.def("_decode_document", &ListDocument, "The messages of a document.");
  module.def(
      "report", &Report, py::arg("folder"), py::arg("output") = py::none(),
      R"(The page, one HTML text, of a folder that quillmark flash, verify or read --artifacts left.

output: a file to write it into as well. What is missing in the folder is a UserWarning. Raises OSError if there are
no artifacts and for files that cannot be read or written, ValueError for damaged ones.)");
}

}  // namespace quillmark::python
