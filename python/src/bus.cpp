// SPDX-License-Identifier: MIT
#include <pybind11/stl.h>

#include <chrono>
#include <map>
#include <optional>
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
  explicit SimulatedLink(std::shared_ptr<host::SimulatedEcu> node)
      : ecu(std::move(node)), bus(*ecu) {}

  std::shared_ptr<host::SimulatedEcu> ecu;
  host::SimulatedBus bus;
};

std::uint8_t DefaultAddress(Form form) {
  constexpr std::uint8_t kGatewayAddress = 0x6E;
  constexpr std::uint8_t kKLineAddress = 0x11;
  return form == Form::kKLine ? kKLineAddress : kGatewayAddress;
}

std::shared_ptr<Ecu> MakeEcu(const std::string& form, std::optional<Byte> address, Long request_id,
                             Long reply_id, double erase_time, double check_time, bool silent,
                             bool refuses_key, std::optional<std::uint32_t> bad_checksum_at_block,
                             std::map<std::uint8_t, int> pending,
                             std::map<std::uint8_t, std::uint8_t> refused) {
  host::EcuOptions options;
  options.form = FormOf(form);
  options.address = address ? address->value : DefaultAddress(options.form);
  options.request_id = static_cast<std::uint32_t>(request_id.value);
  options.reply_id = static_cast<std::uint32_t>(reply_id.value);
  options.timing.erase_time = MillisecondsOf(erase_time);
  options.timing.check_time = MillisecondsOf(check_time);
  options.misbehaviour.silent = silent;
  options.misbehaviour.refuses_key = refuses_key;
  options.misbehaviour.bad_checksum_at_block = bad_checksum_at_block;
  options.misbehaviour.pending = std::move(pending);
  options.misbehaviour.refused = std::move(refused);
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

std::shared_ptr<Bus> MakeSimulatedBus(const std::shared_ptr<Ecu>& ecu) {
  const auto link =
      ecu->Use([](const auto& node) { return std::make_shared<SimulatedLink>(node); });
  return std::make_shared<Bus>(std::shared_ptr<host::Bus>(link, &link->bus), ecu->options().form,
                               ecu->mutex());
}

std::shared_ptr<Bus> OpenAdapter(const std::string& uri) {
  const host::BusUri parsed = host::ParseBusUri(uri);
  const Form form = parsed.kind == host::BusKind::kKLine ? Form::kKLine : Form::kPlainCan;
  const WithoutGil released;
  return std::make_shared<Bus>(host::OpenBus(parsed), form);
}

void Wait(const Bus& self, double seconds) {
  const std::chrono::milliseconds time = MillisecondsOf(seconds);
  self.Use([&](const auto& bus) {
    const WithoutGil released;
    bus->Wait(time);
  });
}

double Now(const Bus& self) {
  return self.Use(
      [](const auto& bus) { return std::chrono::duration<double>(bus->Now()).count(); });
}

void BindEcu(py::module_& module) {
  const host::EcuOptions defaults;
  py::class_<Ecu, std::shared_ptr<Ecu>>(
      module, "SimulatedEcu",
      R"(A whole ECU, simulated, with 16 MB of flash memory as area 0.

form: "can", "gateway" or "kline", with its address (0x6E through the gateway, 0x11 on the K line) or, on
plain CAN, the identifiers that it listens to and sends on. erase_time, check_time: how many
seconds the erase and the check routine run. What it can do wrong: silent; refuses_key; bad_checksum_at_block, from
1; pending, how many "response pending" come before each answer of a service; refused, the response code
with which a service is refused. Raises ValueError for options that make no ECU.)")
      .def(py::init(&MakeEcu), py::arg("form") = "can", py::kw_only(),
           py::arg("address") = py::none(), py::arg("request_id") = defaults.request_id,
           py::arg("reply_id") = defaults.reply_id, py::arg("erase_time") = 0.25,
           py::arg("check_time") = 0.15, py::arg("silent") = false, py::arg("refuses_key") = false,
           py::arg("bad_checksum_at_block") = py::none(), py::arg("pending") = py::dict(),
           py::arg("refused") = py::dict())
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
      .def_property_readonly(
          "blocks_written",
          [](const Ecu& self) {
            return self.Use([](const auto& ecu) { return ecu->blocks_written(); });
          },
          "Download blocks that were written since the ECU was made.");
}

}  // namespace

void BindBuses(py::module_& module) {
  BindEcu(module);
  py::class_<Bus, std::shared_ptr<Bus>> bus(module, "Bus",
                                            R"(What carries frames between a tester and an ECU.

open_bus gives one for an adapter, SimulatedBus(ecu) one in simulated time, which is computed and not waited
for.)");
  bus.def("wait", &Wait, py::arg("seconds"),
          "Lets at least so many seconds of the bus's time pass, up to 24 days. Raises BusError.")
      .def_property_readonly("now", &Now, "The bus's time in seconds, from an arbitrary origin.");
  module.def("SimulatedBus", &MakeSimulatedBus, py::arg("ecu").none(false),
             "A bus in simulated time with a SimulatedEcu at its other end.");
  module.def(
      "open_bus", &OpenAdapter, py::arg("uri"),
      R"(Opens an adapter: slcan:DEVICE?bitrate=500000, socketcan:can0 or kline:DEVICE?baud=10400.

Raises BusError where it cannot be opened, ValueError for what is no such URI.)");
}

}  // namespace quillmark::python
