// SPDX-License-Identifier: MIT
#include <pybind11/stl.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "arguments.h"
#include "bindings.h"
#include "quillmark/host/open_bus.h"
#include "quillmark/host/simulated_bus.h"
#include "quillmark/host/simulated_ecu.h"
#include "shared_objects.h"

namespace quillmark::python {
namespace {

using Form = host::TransportForm;

/// A simulated ECU with its options.
class Ecu : public Shared<host::SimulatedEcu> {
 public:
  explicit Ecu(const host::EcuOptions& options)
      : Shared(std::make_shared<host::SimulatedEcu>(options)), options_(options) {}

  [[nodiscard]] const host::EcuOptions& options() const { return options_; }

 private:
  host::EcuOptions options_;
};

/// A bus that keeps the ECU at its end.
struct SimulatedLink {
  SimulatedLink(std::shared_ptr<host::SimulatedEcu> node, const host::WireSpeed& speed)
      : ecu(std::move(node)), bus(*ecu, speed) {}

  std::shared_ptr<host::SimulatedEcu> ecu;
  host::SimulatedBus bus;
};

/// What is left of a bus that was closed.
class ClosedBus : public host::Bus {
 public:
  explicit ClosedBus(host::Duration closed_at) : closed_at_(closed_at) {}

  void Select(const host::Exchange& /*exchange*/) override { Refuse(); }
  void Send(host::ByteView /*frame*/) override { Refuse(); }
  [[nodiscard]] std::optional<host::Bytes> Receive(std::chrono::milliseconds /*timeout*/) override {
    Refuse();
  }
  void Wait(std::chrono::milliseconds /*time*/) override { Refuse(); }
  void Break(std::chrono::milliseconds /*low*/) override { Refuse(); }
  [[nodiscard]] host::Duration Now() const override { return closed_at_; }

 private:
  [[noreturn]] static void Refuse() { throw host::BusError("the bus is closed"); }

  host::Duration closed_at_;
};

std::uint8_t DefaultAddress(Form form) {
  constexpr std::uint8_t kGatewayAddress = 0x6E;
  constexpr std::uint8_t kKLineAddress = 0x11;
  return form == Form::kKLine ? kKLineAddress : kGatewayAddress;
}

/// The gateway line of the second address behind it.
constexpr std::uint8_t kSecondGatewayAddress = 0x7A;
constexpr std::uint32_t kSecondGatewayLine = 14;

/// A function of Python, called with the interpreter's lock, which the caller need not hold.
host::BlockChecksum ChecksumOf(const py::function& compute) {
  const auto drop = [](const py::function* dropped) {
    const py::gil_scoped_acquire gil;
    delete dropped;
  };
  const std::shared_ptr<const py::function> shared(new py::function(compute), drop);
  return [shared](host::ByteView block) {
    const py::gil_scoped_acquire gil;
    return py::cast<std::uint16_t>((*shared)(PythonBytes(block)));
  };
}

std::shared_ptr<Ecu> MakeEcu(const std::string& form, std::optional<Byte> address, Long request_id,
                             Long reply_id, std::pair<Byte, Byte> flow_control, Byte memory,
                             Byte check_routine, double erase_time, double check_time, bool silent,
                             bool refuses_key, std::optional<std::uint32_t> bad_checksum_at_block,
                             std::map<std::uint8_t, int> pending, std::map<std::uint8_t, int> busy,
                             std::map<std::uint8_t, std::uint8_t> refused,
                             std::set<std::uint32_t> bad_cells, bool blind_check, bool write_once,
                             const std::optional<py::function>& checksum) {
  host::EcuOptions options;
  options.form = FormOf(form);
  options.address = address ? address->value : DefaultAddress(options.form);
  if (options.address == kSecondGatewayAddress) {
    options.gateway_line = kSecondGatewayLine;
  }
  options.request_id = static_cast<std::uint32_t>(request_id.value);
  options.reply_id = static_cast<std::uint32_t>(reply_id.value);
  options.block_size = flow_control.first.value;
  options.separation_time = flow_control.second.value;
  options.areas.front().identifier = memory.value;
  options.check_routine = check_routine.value;
  options.write_once = write_once;
  options.timing.erase_time = MillisecondsOf(erase_time);
  options.timing.check_time = MillisecondsOf(check_time);
  options.misbehaviour = {.silent = silent,
                          .refuses_key = refuses_key,
                          .bad_checksum_at_block = bad_checksum_at_block,
                          .pending = std::move(pending),
                          .busy = std::move(busy),
                          .refused = std::move(refused),
                          .bad_cells = std::move(bad_cells),
                          .blind_check = blind_check};
  if (checksum) {
    options.checksum = ChecksumOf(*checksum);
  }
  return std::make_shared<Ecu>(options);
}

std::pair<std::uint32_t, std::uint32_t> CanIdsOf(const Ecu& self) {
  const host::EcuOptions& options = self.options();
  return options.form == Form::kPlainCan ? std::pair(options.reply_id, options.request_id)
                                         : std::pair(0U, std::uint32_t{options.address});
}

py::bytes ReadFlash(const Ecu& self, std::uint32_t address, std::size_t count) {
  return self.Use([&](const auto& ecu) {
    try {
      return PythonBytes(ecu->ReadMemory(address, count));
    } catch (const std::out_of_range&) {
      throw py::index_error("the ECU has no such memory");
    }
  });
}

using FrameNumber = std::optional<std::uint64_t>;

std::shared_ptr<Bus> MakeSimulatedBus(const std::shared_ptr<Ecu>& ecu,
                                      std::optional<std::uint32_t> bit_rate, FrameNumber lost_frame,
                                      FrameNumber lost_every, FrameNumber flipped_frame,
                                      FrameNumber silent_from, FrameNumber unplugged_at) {
  host::WireSpeed speed;
  const Form form = ecu->options().form;
  if (bit_rate) {
    (form == Form::kKLine ? speed.k_line_baud : speed.can_bit_rate) = *bit_rate;
  }
  if (lost_every == 0) {
    throw py::value_error("lost_every: expected at least 1, found 0");
  }
  const auto link =
      ecu->Use([&](const auto& node) { return std::make_shared<SimulatedLink>(node, speed); });
  link->bus.InjectFaults(host::InjectorOf({.lost_frame = lost_frame,
                                           .lost_every = lost_every,
                                           .flipped_frame = flipped_frame,
                                           .silent_from = silent_from,
                                           .unplugged_at = unplugged_at}));
  return std::make_shared<Bus>(std::shared_ptr<host::Bus>(link, &link->bus), form, ecu->mutex());
}

std::shared_ptr<Bus> OpenAdapter(const std::string& uri) {
  const host::BusUri parsed = host::ParseBusUri(uri);
  const WithoutGil released;
  return std::make_shared<Bus>(host::OpenBus(parsed), parsed.form);
}

/// The longest time between two looks at signals.
constexpr std::chrono::milliseconds kLookUp{100};

/// Calls `work` with parts of `time` until it returns true or no time is left. Between two parts
/// signal handlers run, and others have their turn with the bus.
template <typename Work>
void InParts(const Bus& self, std::chrono::milliseconds time, Work work) {
  bool done = false;
  do {
    const std::chrono::milliseconds part = std::min(time, kLookUp);
    self.Use([&](const auto& bus) {
      const WithoutGil released;
      done = work(*bus, part);
    });
    time -= part;
    CheckSignals();
  } while (!done && time.count() > 0);
}

void Wait(const Bus& self, double seconds) {
  InParts(self, MillisecondsOf(seconds), [](host::Bus& bus, std::chrono::milliseconds part) {
    bus.Wait(part);
    return false;
  });
}

void Select(const Bus& self, std::uint32_t receive, std::uint32_t send) {
  self.Use([&](const auto& bus) { bus->Select({self.form(), receive, send}); });
}

void Send(const Bus& self, const ByteArgument& frame) {
  constexpr std::size_t kLongestCanFrame = 8;
  const bool fits = !frame.bytes.empty() &&
                    (self.form() == Form::kKLine || frame.bytes.size() <= kLongestCanFrame);
  if (!fits) {
    throw py::value_error("frame: expected 1 to 8 bytes or, on a K line, a whole message, found " +
                          std::to_string(frame.bytes.size()) + " bytes");
  }
  self.Use([&](const auto& bus) {
    const WithoutGil released;
    bus->Send(frame.bytes);
  });
}

py::object Receive(const Bus& self, double timeout) {
  std::optional<host::Bytes> frame;
  InParts(self, MillisecondsOf(timeout), [&](host::Bus& bus, std::chrono::milliseconds part) {
    frame = bus.Receive(part);
    return frame.has_value();
  });
  return frame ? py::object(PythonBytes(*frame)) : py::none();
}

void SendBreak(const Bus& self, double seconds) {
  const std::chrono::milliseconds low = MillisecondsOf(seconds);
  self.Use([&](const auto& bus) {
    const WithoutGil released;
    bus->Break(low);
  });
}

double Now(const Bus& self) {
  return self.Use(
      [](const auto& bus) { return std::chrono::duration<double>(bus->Now()).count(); });
}

host::Duration TimeOf(double seconds) {
  return std::chrono::duration_cast<host::Duration>(std::chrono::duration<double>(seconds));
}

std::optional<double> BatteryVoltage(const Bus& self) {
  return self.Use([](const auto& bus) {
    const WithoutGil released;
    const std::optional<std::uint32_t> millivolts = bus->BatteryMillivolts();
    return millivolts ? std::optional(*millivolts / 1e3) : std::nullopt;
  });
}

void BindEcu(py::module_& module) {
  const host::EcuOptions defaults;
  py::class_<Ecu, std::shared_ptr<Ecu>>(
      module, "SimulatedEcu",
      R"(A whole ECU, simulated, with 16 MB of flash memory as area 0.

form: "can", "gateway" or "kline", with its address (0x6E through the gateway, 0x11 on the K line) or, on
plain CAN, the identifiers that it listens to and sends on. erase_time, check_time: how many
seconds the erase and the check routine run. flow_control: the block size and separation time in ms that it asks
for. memory, check_routine: the identifiers of its flash and of its check routine.

What it can do wrong: silent; refuses_key; bad_checksum_at_block, from 1; pending, how many "response pending" come
before each answer of a service; busy, how many of its requests are answered with "busy, repeat request";
refused, the response code with which a service is refused; bad_cells, addresses that never take a value;
blind_check, a check routine that is content with anything. write_once: a cell can be written once between two
erases. checksum: a function of the bytes of a block, in place of their sum; it gives 16 bits. What can go wrong on the way to it are arguments of SimulatedBus. Raises ValueError for options that make
no ECU.)")
      .def(py::init(&MakeEcu), py::arg("form") = "can", py::kw_only(),
           py::arg("address") = py::none(), py::arg("request_id") = defaults.request_id,
           py::arg("reply_id") = defaults.reply_id,
           py::arg("flow_control") = std::pair(defaults.block_size, defaults.separation_time),
           py::arg("memory") = 0, py::arg("check_routine") = defaults.check_routine,
           py::arg("erase_time") = 0.25, py::arg("check_time") = 0.15, py::arg("silent") = false,
           py::arg("refuses_key") = false, py::arg("bad_checksum_at_block") = py::none(),
           py::arg("pending") = py::dict(), py::arg("busy") = py::dict(),
           py::arg("refused") = py::dict(), py::arg("bad_cells") = py::set(),
           py::arg("blind_check") = false, py::arg("write_once") = false,
           py::arg("checksum") = py::none())
      .def_property_readonly(
          "form", [](const Ecu& self) { return NameOf(self.options().form); },
          "\"can\", \"gateway\" or \"kline\".")
      .def_property_readonly("canids", &CanIdsOf,
                             "The two arguments of CANIDs with which a tester reaches the ECU.")
      .def_property_readonly(
          "check_routine", [](const Ecu& self) { return self.options().check_routine; },
          "Local identifier of the routine that compares the flash with what was downloaded.")
      .def(
          "key",
          [](const Ecu& self, const ByteArgument& seed) {
            return PythonBytes(self.options().key(seed.bytes));
          },
          py::arg("seed"), "The key that the ECU expects for a seed, four bytes each.")
      .def("read", &ReadFlash, py::arg("address"), py::arg("count"),
           "The content of the flash memory; 0xFF where it is erased. Raises IndexError where "
           "there is none.")
      .def(
          "_on_frame",
          [](const Ecu& self, const ByteArgument& frame, double now) {
            self.Use([&](const auto& ecu) { ecu->OnFrame(frame.bytes, TimeOf(now)); });
          },
          "A frame has arrived.")
      .def(
          "_next_due",
          [](const Ecu& self) {
            return self.Use([](const auto& ecu) -> std::optional<double> {
              const auto due = ecu->NextDue();
              return due ? std::optional(std::chrono::duration<double>(*due).count())
                         : std::nullopt;
            });
          },
          "When its next frame is ready; None if there is none.")
      .def(
          "_take_frame",
          [](const Ecu& self, double now) {
            return self.Use(
                [&](const auto& ecu) { return PythonBytes(ecu->TakeFrame(TimeOf(now))); });
          },
          "That frame.")
      .def_property_readonly(
          "blocks_written",
          [](const Ecu& self) {
            return self.Use([](const auto& ecu) { return ecu->blocks_written(); });
          },
          "Download blocks that were written since the ECU was made.");
}

}  // namespace

void Bus::Close() {
  Replace(Use([](const auto& bus) -> std::shared_ptr<host::Bus> {
    return std::make_shared<ClosedBus>(bus->Now());
  }));
  if (const auto closing = std::exchange(closing_, {})) {
    closing();
  }
}

void BindBuses(py::module_& module) {
  BindEcu(module);
  py::class_<Bus, std::shared_ptr<Bus>>(module, "Bus",
                                        R"(What carries frames between a tester and an ECU.

open_bus gives one for an adapter, SimulatedBus(ecu) one in simulated time, which is computed and not waited
for. A with block closes it at its end. Raises BusError where the bus fails, and for everything but now once it is
closed.)")
      .def("select", &Select, py::arg("receive"), py::arg("send"),
           "Says with which CAN identifiers, above 0x7FF extended ones, the following frames are "
           "exchanged;\nthrough a gateway with which channel and line, on a K line with 0 and 0.")
      .def("send", &Send, py::arg("frame"),
           "Sends a frame of 1 to 8 bytes or a whole K line message; returns once it is on the "
           "wire.")
      .def("receive", &Receive, py::arg("timeout"),
           "The next frame of the exchange; None where none comes within so many seconds of the "
           "bus's time.\nCtrl-C ends the wait.")
      .def("send_break", &SendBreak, py::arg("seconds"),
           "Pulls a K line low for so long, which wakes the ECU.")
      .def("wait", &Wait, py::arg("seconds"),
           "Lets at least so many seconds of the bus's time pass, up to 24 days. Raises BusError.")
      .def_property_readonly("now", &Now, "The bus's time in seconds, from an arbitrary origin.")
      .def_property_readonly(
          "form", [](const Bus& self) { return NameOf(self.form()); },
          "\"can\", \"gateway\" or \"kline\": the form of the documents that it carries.")
      .def_property_readonly("battery_voltage", &BatteryVoltage,
                             "Of the vehicle, in volts; None from an adapter that cannot tell.")
      .def("close", &Bus::Close,
           "Lets go of the adapter; a second call does nothing. A run on another thread goes on to "
           "its end first.")
      .def("__enter__", [](const std::shared_ptr<Bus>& self) { return self; })
      .def("__exit__", [](Bus& self, const py::args& /*raised*/) { self.Close(); });
  module.def("SimulatedBus", &MakeSimulatedBus, py::arg("ecu").none(false), py::kw_only(),
             py::arg("bit_rate") = py::none(), py::arg("lost_frame") = py::none(),
             py::arg("lost_every") = py::none(), py::arg("flipped_frame") = py::none(),
             py::arg("silent_from") = py::none(), py::arg("unplugged_at") = py::none(),
             R"(A bus in simulated time with a SimulatedEcu at its other end.

bit_rate: of the wire; None is 500000, on a K line 10400. What can go wrong, by the numbers of the frames,
counted from 1 in both directions: lost_frame does not arrive, nor does each whose number is a multiple of
lost_every; flipped_frame has a damaged byte; silent_from this one on nothing arrives; unplugged_at this one the
adapter disappears.)");
  module.def(
      "open_bus", &OpenAdapter, py::arg("uri"),
      R"(Opens an adapter: slcan:DEVICE?bitrate=500000, socketcan:can0, kline:DEVICE?baud=10400 or
j2534:NAME?protocol=can.

Raises BusError where it cannot be opened, ValueError for what is no such URI.)");
}

}  // namespace quillmark::python
