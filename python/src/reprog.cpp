// SPDX-License-Identifier: MIT
#include <pybind11/stl.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <type_traits>
#include <utility>

#include "arguments.h"
#include "bindings.h"
#include "errors.h"
#include "live_transfers.h"
#include "quillmark/diag_on_can_reprog.h"
#include "quillmark/host/memory_ranges.h"
#include "shared_objects.h"
#include "stream_transfer.h"
#include "transfer_platform.h"

namespace quillmark::python {
namespace {

/// Hands the documents of a worker to a Python function, on the worker's thread.
///
/// The function and what it raised are Python objects, touched only with the interpreter's lock
/// held; how the transfer ended is guarded by a mutex of its own, under which that lock is never
/// asked for.
class HandlerTransfer : public TransferClient {
 public:
  HandlerTransfer(std::int64_t expected, py::function handler)
      : delivery_(expected), handler_(std::move(handler)) {}
  HandlerTransfer(const HandlerTransfer&) = delete;
  HandlerTransfer& operator=(const HandlerTransfer&) = delete;
  HandlerTransfer(HandlerTransfer&&) = delete;
  HandlerTransfer& operator=(HandlerTransfer&&) = delete;
  ~HandlerTransfer() override;

  /// On the worker's thread.
  bool XMLReady(const std::shared_ptr<IXMLDOMNode>& xml) override;
  void Cancel() override { cancelled_ = true; }

  /// Waits for the end, signal handlers running meanwhile. True if every document was accepted,
  /// false if the transfer was cancelled. Raises what the handler raised, TransferIncomplete if the
  /// worker failed, and TimeoutError after `seconds`.
  bool Wait(std::optional<double> seconds);

  [[nodiscard]] bool Ended() const;

 private:
  enum class End : std::uint8_t { kNotYet, kComplete, kIncomplete, kCancelled, kRaised };

  [[nodiscard]] End EndAfter(const std::shared_ptr<IXMLDOMNode>& node);
  [[nodiscard]] bool CallHandler(const std::shared_ptr<IXMLDOMNode>& node);
  void SetEnd(End end);
  [[nodiscard]] End AwaitEnd(std::optional<double> seconds);

  Delivery delivery_;
  py::object handler_;
  /// What the handler raised, until it has been reported.
  py::object raised_;
  std::atomic<bool> cancelled_ = false;

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  End end_ = End::kNotYet;
};

using Clock = std::chrono::steady_clock;

/// The exception in flight as an object, its traceback included.
py::object Caught(const py::error_already_set& error) {
  py::object value = error.value();
  if (error.trace()) {
    PyException_SetTraceback(value.ptr(), error.trace().ptr());
  }
  return value;
}

/// Reports an exception that no caller will receive, as threads do.
void ReportUnasked(const py::object& raised) {
  PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(raised.ptr())), raised.ptr());
  PyErr_WriteUnraisable(py::str("the handler of a quillmark.Transfer").ptr());
}

HandlerTransfer::~HandlerTransfer() {
  if (Py_IsInitialized() == 0) {
    handler_.release();
    raised_.release();
    return;
  }
  const py::gil_scoped_acquire gil;
  if (raised_) {
    ReportUnasked(raised_);
  }
  handler_ = {};
  raised_ = {};
}

bool HandlerTransfer::XMLReady(const std::shared_ptr<IXMLDOMNode>& xml) {
  const py::gil_scoped_acquire gil;
  const End end = cancelled_ ? End::kCancelled : EndAfter(xml);
  if (end == End::kNotYet) {
    return true;
  }
  handler_ = {};  // It may hold the transfer.
  SetEnd(end);
  return false;
}

HandlerTransfer::End HandlerTransfer::EndAfter(const std::shared_ptr<IXMLDOMNode>& node) {
  if (node) {
    delivery_.Add(*node);
  }
  try {
    const bool cancel = CallHandler(node);
    if (node) {
      return cancel ? End::kCancelled : End::kNotYet;
    }
  } catch (const py::error_already_set& error) {
    raised_ = Caught(error);
    return End::kRaised;
  }
  return delivery_.complete() ? End::kComplete : End::kIncomplete;
}

/// What `Cancel` is after the event: it comes in as true, and None leaves it so.
bool HandlerTransfer::CallHandler(const std::shared_ptr<IXMLDOMNode>& node) {
  const Handling handling(*this);
  const py::object answer = handler_(node ? py::cast(MakeDocument(node)) : py::none());
  if (answer.is_none()) {
    return true;
  }
  const int is_true = PyObject_IsTrue(answer.ptr());
  if (is_true < 0) {
    throw py::error_already_set();
  }
  return is_true != 0;
}

void HandlerTransfer::SetEnd(End end) {
  const std::lock_guard lock(mutex_);
  end_ = end;
  changed_.notify_all();
}

bool HandlerTransfer::Ended() const {
  RequireThisProcess();
  const std::lock_guard lock(mutex_);
  return end_ != End::kNotYet;
}

HandlerTransfer::End HandlerTransfer::AwaitEnd(std::optional<double> seconds) {
  constexpr std::chrono::milliseconds kLookUp{50};
  const auto deadline = Clock::now() + MillisecondsOf(seconds.value_or(0));
  for (;;) {
    {
      const WithoutGil released;
      std::unique_lock lock(mutex_);
      const auto look_up = Clock::now() + kLookUp;
      const auto until = seconds ? std::min(look_up, deadline) : look_up;
      changed_.wait_until(lock, until, [this] { return end_ != End::kNotYet; });
      if (end_ != End::kNotYet) {
        return end_;
      }
    }
    CheckSignals();
    if (seconds && Clock::now() >= deadline) {
      return End::kNotYet;
    }
  }
}

bool HandlerTransfer::Wait(std::optional<double> seconds) {
  RequireThisProcess();
  if (Handled() == this) {
    throw std::runtime_error("a handler cannot wait for its own transfer");
  }
  switch (AwaitEnd(seconds)) {
    case End::kNotYet:
      PyErr_SetString(PyExc_TimeoutError, "the transfer has not ended yet");
      throw py::error_already_set();
    case End::kRaised:
      if (raised_) {
        Raise(std::exchange(raised_, py::object()));
      }
      return false;
    case End::kIncomplete:
      RaiseIncomplete(delivery_.delivered(), delivery_.expected());
    case End::kComplete:
      return true;
    default:
      return false;
  }
}

/// An object of the component with its platform.
class Reprog : public Shared<DiagOnCANReprog> {
 public:
  Reprog() : Reprog(std::make_shared<TransferPlatform>()) {}

  /// Calls `start`, whose worker reports to `client`.
  template <typename Start>
  void StartTransfer(const std::shared_ptr<TransferClient>& client, Start start) {
    Register(client);
    Use([&](const auto& object) {
      const WithoutGil released;
      platform_->SetClient(client);
      try {
        start(*object);
      } catch (...) {
        platform_->SetClient(nullptr);
        throw;
      }
    });
  }

 private:
  explicit Reprog(const std::shared_ptr<TransferPlatform>& platform)
      : Shared(CreateDiagOnCANReprog(platform)), platform_(platform) {}

  std::shared_ptr<TransferPlatform> platform_;
};

using DocumentArgument = std::shared_ptr<Document>;

/// A member that takes numbers and bytes and returns a document or nothing.
template <auto kMember, typename... Arguments>
auto Call(Reprog& self, const Arguments&... arguments) {
  using Result = decltype((std::declval<DiagOnCANReprog&>().*kMember)(NativeOf(arguments)...));
  return self.Use([&](const std::shared_ptr<DiagOnCANReprog>& object) {
    if constexpr (std::is_void_v<Result>) {
      ((*object).*kMember)(NativeOf(arguments)...);
    } else {
      return MakeDocument(((*object).*kMember)(NativeOf(arguments)...));
    }
  });
}

/// A member that looks at a document that has been run.
template <auto kMember, typename... Arguments>
auto Check(Reprog& self, const DocumentArgument& root, const Arguments&... arguments) {
  return self.Use([&](const std::shared_ptr<DiagOnCANReprog>& object) {
    return root->Use([&](const std::shared_ptr<DOMDocument>& document) {
      return ((*object).*kMember)(document, NativeOf(arguments)...);
    });
  });
}

py::bytes GetSeed(Reprog& self, const DocumentArgument& root) {
  return PythonBytes(*Check<&DiagOnCANReprog::getseed>(self, root));
}

/// Eight entries, None for each that the ECU did not send.
py::list RecordsOf(const ByteStringArray& records) {
  constexpr std::size_t kEntries = 8;
  py::list list;
  for (std::size_t i = 0; i < kEntries; ++i) {
    list.append(i < records.size() ? OptionalBytes(records[i]) : py::none());
  }
  return list;
}

py::object GetHisto(Reprog& self, const DocumentArgument& root) {
  ByteStringArray histories;
  ByteStringArray reprogrammings;
  std::shared_ptr<ByteString> identification;
  const auto history = [&] {
    return MakeHistory(RecordsOf(histories), RecordsOf(reprogrammings),
                       OptionalBytes(identification));
  };
  try {
    self.Use([&](const auto& object) {
      root->Use([&](const auto& document) {
        object->gethisto(document, histories, reprogrammings, identification);
      });
    });
  } catch (const Error& error) {
    const py::object raised = PythonError(error);
    raised.attr("history") = history();
    Raise(raised);
  }
  return history();
}

void CheckUpload(Reprog& self, const DocumentArgument& root, const std::shared_ptr<Image>& image) {
  self.Use([&](const auto& object) {
    root->Use([&](const auto& document) {
      image->Use([&](const auto& native) { object->checkupload(document, native); });
    });
  });
}

/// Starts a transfer: with a handler a Transfer, without one a generator.
template <typename Start>
py::object Transfer(Reprog& self, std::int64_t size, const std::optional<py::function>& handler,
                    Start start) {
  if (handler) {
    const auto transfer = std::make_shared<HandlerTransfer>(size, *handler);
    self.StartTransfer(transfer, start);
    return py::cast(transfer);
  }
  const auto transfer = std::make_shared<StreamTransfer>(size);
  self.StartTransfer(transfer, start);
  return GeneratorOf(transfer);
}

py::object ComputeDownload(Reprog& self, Byte memory, const py::object& image_argument, Byte fill,
                           Long modulus, Long max_size,
                           const std::optional<py::function>& handler) {
  const auto argument = ImageOf(image_argument);
  return self.Use([&](const auto& /*first, as in checkupload*/) {
    return argument->Use([&](const auto& image) {
      return Transfer(self, static_cast<std::int64_t>(host::SizeOf(*image)), handler,
                      [&](DiagOnCANReprog& object) {
                        object.ComputeDownload(memory.value, image, fill.value, modulus.value,
                                               max_size.value);
                      });
    });
  });
}

py::object ComputeUpload(Reprog& self, const py::object& ranges, Byte memory,
                         const std::optional<py::function>& handler) {
  const Ranges wanted = RangesOf(ranges);
  return Transfer(self, wanted.size, handler,
                  [&](DiagOnCANReprog& object) { object.ComputeUpload(wanted.map, memory.value); });
}

using Class = py::class_<Reprog, std::shared_ptr<Reprog>>;
using D = DiagOnCANReprog;

py::arg Root() {
  py::arg root("root");
  root.none(false);
  return root;
}

void BindSession(Class& reprog) {
  reprog
      .def("CANIDs", &Call<&D::CANIDs, Long, Long>, py::arg("RCANId"), py::arg("XCANId"),
           R"(Chooses the transport form.

RCANId other than 0: plain CAN, receiving on RCANId and sending on XCANId. RCANId = 0: an ECU address in
XCANId, behind a CAN gateway for 0x6E and 0x7A, on a K line for any other. The K form, once chosen, is kept.
Raises Error 6 for an address outside 0..255.)")
      .def("FlowControl", &Call<&D::FlowControl, Long, Long>, py::arg("BS"), py::arg("STMin"),
           R"(ISO 15765-2 flow control that requests expect of the ECU.

BS: block size, 0 to 255 frames; 0 means that no further flow control comes. STMin: separation time, 0 to
255 ms. Raises Error 4009 to 4012.)")
      .def("StartDiag", &Call<&D::StartDiag>,
           "The whole session-opening sequence, whose replies gethisto reads. Raises Error 91 "
           "before CANIDs,\nas every request method does.")
      .def("gethisto", &GetHisto, Root(),
           R"(History(RepHisto, RepReprog, RepIdent) of the run document of StartDiag.

RepIdent is 24 bytes, the other two are lists of eight, 24 bytes each or None where the ECU gave none.
Raises Error 4000 "Ecu is not reprogrammable", on a K line always; its attribute history has what was
found until then.)")
      .def("TesterPresent", &Call<&D::TesterPresent>, "Keeps the session alive (service 3E).")
      .def("stopcomm", &Call<&D::stopcomm>, "Ends the session.");
}

void BindSecurityAccess(Class& reprog) {
  reprog
      .def("readseed", &Call<&D::readseed>,
           "Asks for the seed (service 27 81); through a gateway a start-communication step comes "
           "first.")
      .def("getseed", &GetSeed, Root(),
           "The four bytes of the seed.\n\nRaises Error 4001 (K line), 2000 (gateway), 2003 and "
           "the negative responses 2032 to 2044 (CAN).")
      .def("dounlock", &Call<&D::dounlock, ByteArgument>, py::arg("key"),
           "Sends the key (service 27 82). checkunlock finds the replies to keys of 0 to 5 bytes "
           "on plain CAN,\n2 to 9 through a gateway, any on a K line.")
      .def("checkunlock", &Check<&D::checkunlock>, Root(),
           "Raises Error 2003 and the negative responses 2032 to 2044.");
}

void BindMemory(Class& reprog) {
  reprog
      .def("starterase", &Call<&D::starterase, Byte>, py::arg("RL"),
           "Starts the erase (routine 31 81) of the memory RL, 0 to 255.")
      .def("checkstarterase", &Check<&D::checkstarterase>, Root(), "Raises Error 4003.")
      .def("checkerase", &Call<&D::checkerase>, "Asks whether the erase has finished.")
      .def("checkcheckerase", &Check<&D::checkcheckerase>, Root(),
           "True when the erase has finished, False while it runs.\n\nRaises Error 2000 without a "
           "reply, otherwise 4004.")
      .def("startroutine", &Call<&D::startroutine, Byte>, py::arg("Routine"),
           "Starts a routine by its local identifier, 0 to 255.")
      .def("checkstartroutine", &Check<&D::checkstartroutine, Byte>, Root(), py::arg("Routine"),
           "Raises Error 4006.")
      .def("routinestatus", &Call<&D::routinestatus, Byte>, py::arg("Routine"),
           "Asks whether a routine has finished.")
      .def("checkroutine", &Check<&D::checkroutine, Byte>, Root(), py::arg("Routine"),
           "True when the routine has finished, False while it runs.\n\nRaises Error 2000 without "
           "a reply, 9 for one without status, otherwise 4006.")
      .def("writelogzone", &Call<&D::writelogzone, ByteArgument>, py::arg("Histo"),
           "Writes the history record of 48 bytes; a longer one is cut, a shorter one filled with "
           "0.")
      .def("checkwritelogzone", &Check<&D::checkwritelogzone>, Root(),
           "Raises Error 4008 if a step of the document failed.");
}

void BindTransferMembers(Class& reprog) {
  reprog
      .def("ComputeDownload", &ComputeDownload, py::arg("RL"), py::arg("Image"),
           py::arg("FillByte"), py::arg("IMod"), py::arg("MaxSize"),
           py::arg("XMLReady") = py::none(),
           R"(Computes the download of an image into the memory RL on a thread of its own.

Image: a MemoryImage, or {address: bytes}; it is copied. Runs of FillByte are left out in whole units of
IMod bytes. A block carries at most MaxSize bytes, 1 to 255; 247 where the ECU is not on plain CAN.

Without XMLReady it gives a generator of documents, each of about 32 KB. The thread is at most two documents
ahead and ends where the generator is closed or dropped. With XMLReady it gives a Transfer at once and calls
XMLReady(Node) on that thread with each document, and with None at the end. What XMLReady returns is the new
Cancel: only False (or another false value but None) asks for the next document. What it raises cancels the
transfer and is raised by Transfer.wait.

Raises Error 1000 for MaxSize out of range, 91 before CANIDs. A thread that fails ends the sequence early:
the generator and Transfer.wait raise TransferIncomplete.)")
      .def("checkdownload", &Check<&D::checkdownload>, Root(),
           "Raises Error 4005 if a step of the document failed.")
      .def("ComputeUpload", &ComputeUpload, py::arg("Map"), py::arg("RL"),
           py::arg("XMLReady") = py::none(),
           "Computes the upload of ranges, pairs of start and count, like ComputeDownload, in "
           "requests of 48 bytes.")
      .def("checkupload", &CheckUpload, Root(), py::arg("Image").none(false),
           "Adds one segment per reply to the MemoryImage, all or none.\n\nRaises Error 4007 if a "
           "step failed, 2000 for a reply without data, 2003 for a wrong checksum,\n9 for a reply "
           "shorter than it says.");
}

}  // namespace

void BindTransfers(py::module_& module) {
  py::class_<HandlerTransfer, std::shared_ptr<HandlerTransfer>>(
      module, "Transfer",
      R"(A transfer whose documents go to a handler.

It goes on if this object is dropped. An exception of the handler that no wait() has raised is reported
by sys.unraisablehook.)")
      .def("wait", &HandlerTransfer::Wait, py::arg("timeout") = py::none(),
           "Waits for the end of the transfer, at most timeout seconds. True if the handler "
           "accepted every\ndocument, False if it was cancelled.\n\nRaises what the handler raised "
           "(once; then False), TransferIncomplete if the worker failed,\nTimeoutError, and "
           "RuntimeError in its own handler and in a forked child.")
      .def("cancel", &HandlerTransfer::Cancel,
           "Ends the transfer; the handler is not called again. Returns at once.")
      .def_property_readonly("done", &HandlerTransfer::Ended, "Whether it has ended.");

  py::class_<DocumentStream, std::shared_ptr<DocumentStream>>(module, "_DocumentStream")
      .def("next", &DocumentStream::Next)
      .def("close", &DocumentStream::Close);

  module.def("wait_for_workers", &WaitForWorkers,
             "Returns once no transfer of this process is running.");
  py::module_::import("atexit").attr("register")(py::cpp_function(&EndTransfers));
}

void BindReprog(py::module_& module) {
  Class reprog(module, "DiagOnCANReprog", R"(Reprograms one ECU.

It builds request documents, checks the documents once they have been run, and streams whole downloads and
uploads. It never touches a bus. CANIDs comes first; then the services in any order. Numbers outside the
range of their parameter raise Error 6. Several threads may share an object; each waits for its turn.)");
  reprog.def(py::init<>());
  BindSession(reprog);
  BindSecurityAccess(reprog);
  BindMemory(reprog);
  BindTransferMembers(reprog);
}

}  // namespace quillmark::python
