// SPDX-License-Identifier: MIT
#include "quillmark/host/runner.h"

#include <pybind11/stl.h>

#include <chrono>
#include <exception>
#include <optional>
#include <string>

#include "arguments.h"
#include "bindings.h"
#include "live_transfers.h"
#include "python_bus.h"
#include "shared_objects.h"

namespace quillmark::python {
namespace {

using Milliseconds = std::chrono::milliseconds;

/// Runs the interpreter's signal handlers from time to time while its lock is released, and asks
/// the host's event or function whether to stop. An exception from either ends the run.
class StopWatch {
 public:
  explicit StopWatch(const py::object& stop)
      : ask_(py::hasattr(stop, "is_set") ? py::object(stop.attr("is_set")) : stop) {}

  /// Whether to stop.
  bool operator()() {
    if (LiveCall::MustEnd()) {
      return true;
    }
    const py::gil_scoped_acquire gil;
    try {
      CheckSignals();
      return !ask_.is_none() && py::bool_(ask_());
    } catch (const py::error_already_set&) {
      raised_ = std::current_exception();
    }
    return true;
  }

  void Rethrow() const {
    if (raised_) {
      std::rethrow_exception(raised_);
    }
  }

 private:
  py::object ask_;
  std::exception_ptr raised_;
};

/// A runner with its bus and the outcome of its last run.
class Runner {
 public:
  Runner(const py::object& bus, const std::optional<std::string>& form, double p2, double p2_star,
         int max_pending, double pending_limit, int max_wait_frames)
      : bus_(BusOf(bus)),
        form_(form ? FormOf(*form) : bus_->form()),
        timing_(TimingOf(p2, p2_star, max_pending, pending_limit, max_wait_frames)) {}

  std::shared_ptr<Document> Run(std::shared_ptr<Document> document, const py::object& stop) {
    StopWatch watch(stop);
    outcome_ = bus_->Use([&](const auto& bus) {
      return document->Use([&](const auto& native) {
        const WithoutGil released;
        const LiveCall live;
        host::Runner runner(*bus, form_, timing_);
        runner.OnStopRequested([&] { return watch(); });
        return runner.Run(*native);
      });
    });
    watch.Rethrow();
    if (const std::exception_ptr raised = bus_->TakeRaised()) {
      std::rethrow_exception(raised);
    }
    return document;
  }

  [[nodiscard]] const std::optional<host::RunOutcome>& outcome() const { return outcome_; }

 private:
  std::shared_ptr<Bus> bus_;
  host::TransportForm form_;
  host::RunnerTiming timing_;
  std::optional<host::RunOutcome> outcome_;
};

const char* StatusOf(const host::RunOutcome& outcome) {
  switch (outcome.status) {
    case host::RunStatus::kComplete:
      return "complete";
    case host::RunStatus::kSilence:
      return "silence";
    case host::RunStatus::kDamagedReply:
      return "damaged reply";
    case host::RunStatus::kFlowControl:
      return "flow control";
    case host::RunStatus::kLateRefusal:
      return "late refusal";
    case host::RunStatus::kUnexpectedFrame:
      return "unexpected frame";
    case host::RunStatus::kPendingTooLong:
      return "pending too long";
    case host::RunStatus::kBusError:
      return "bus error";
    default:
      return "stopped";
  }
}

void BindOutcome(py::module_& module) {
  using host::RunOutcome;
  py::class_<RunOutcome>(module, "RunOutcome", "How a run ended.")
      .def_property_readonly(
          "status", &StatusOf,
          "\"complete\", \"silence\", \"damaged reply\", \"flow control\", \"late refusal\", "
          "\"unexpected\nframe\", \"pending too long\", \"bus error\" or \"stopped\".")
      .def_property_readonly("complete", &RunOutcome::complete, "Whether every step was executed.")
      .def_readonly("step", &RunOutcome::step, "The step that failed, from 1; 0 where none did.")
      .def_readonly("reason", &RunOutcome::reason,
                    "Why, in words; empty where the run is complete.")
      .def_property_readonly(
          "request", [](const RunOutcome& self) { return PythonBytes(self.request); },
          "The service bytes of the last request, as far as they were sent.")
      .def_property_readonly(
          "frame", [](const RunOutcome& self) { return PythonBytes(self.frame); },
          "What came instead of the expected frame; empty where nothing came.")
      .def_readonly("response_code", &RunOutcome::response_code,
                    "The code if that frame is a negative response; otherwise None.")
      .def_property_readonly(
          "elapsed",
          [](const RunOutcome& self) {
            return std::chrono::duration<double>(self.elapsed).count();
          },
          "Seconds of the bus's time that the run took.")
      .def("__repr__", [](const RunOutcome& self) {
        return std::string("<quillmark.RunOutcome ") + StatusOf(self) +
               (self.reason.empty() ? "" : ": " + self.reason) + '>';
      });
}

}  // namespace

void BindRunner(py::module_& module) {
  BindOutcome(module);
  const host::RunnerTiming defaults;
  const auto seconds = [](Milliseconds time) {
    return std::chrono::duration<double>(time).count();
  };
  py::class_<Runner, std::shared_ptr<Runner>>(
      module, "Runner",
      R"(Runs request documents on a bus and so turns them into reply documents.

form: "can", "gateway" or "kline"; None takes that of a simulated ECU or of a K line, otherwise "can". p2:
seconds that the ECU has for an answer; p2_star: and for the next one after it said "response pending", which
it may say max_pending times and for pending_limit seconds in all; max_wait_frames: how many flow controls "wait"
may come in a row.

bus: a Bus, or an object of your own with these methods, times in seconds: select(receive, send) says with
which identifiers the following frames are exchanged (through a gateway: channel and line; on a K line: 0);
send(frame) returns once the bytes are on the wire; receive(timeout) gives the next frame of the exchange, None
where none came in time; on a K line send_break(seconds). An OSError of theirs ends a run as "bus error", what
else they raise comes out of run.)")
      .def(py::init<const py::object&, std::optional<std::string>, double, double, int, double,
                    int>(),
           py::arg("bus"), py::arg("form") = py::none(), py::kw_only(),
           py::arg("p2") = seconds(defaults.p2), py::arg("p2_star") = seconds(defaults.p2_star),
           py::arg("max_pending") = defaults.max_pending,
           py::arg("pending_limit") = seconds(defaults.pending_limit),
           py::arg("max_wait_frames") = defaults.max_wait_frames)
      .def("run", &Runner::Run, py::arg("document").none(false), py::kw_only(),
           py::arg("stop") = py::none(),
           R"(Executes a document and returns it, now with the received frames in it.

It stops at the first frame that is missing or wrong, which the document and outcome tell; a poll that finds
the ECU busy ends like that, and its check method reads it all the same. Other Python threads run meanwhile.
Ctrl-C ends it, and so does stop, an event with is_set() or a function: before the next request, and within two
seconds while an answer is awaited. Raises Error 13 for what is no request document of the form or has
been run before.)")
      .def_property_readonly("outcome", &Runner::outcome,
                             "The RunOutcome of the last run; None before the first.");
}

}  // namespace quillmark::python
