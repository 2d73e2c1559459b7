// SPDX-License-Identifier: MIT
#include "quillmark/host/open_bus.h"

#include <stdexcept>

#include "host/adapters/k_line_bus.h"
#include "host/adapters/pass_thru_bus.h"
#include "host/adapters/slcan_bus.h"
#include "quillmark/host/adapter_list.h"
#if defined(__linux__)
#include "host/adapters/socket_can_bus.h"
#endif

namespace quillmark::host {

std::unique_ptr<Bus> OpenBus(const BusUri& uri) {
  switch (uri.kind) {
    case BusKind::kSlcan:
      return std::make_unique<SlcanBus>(OpenSerialPort(uri.device, uri.baud), uri.bit_rate,
                                        uri.confirms);
    case BusKind::kKLine:
      return std::make_unique<KLineBus>(OpenSerialPort(uri.device, uri.baud), uri.baud,
                                        KLineTiming{.p1 = uri.p1, .p3 = uri.p3, .p4 = uri.p4});
    case BusKind::kSocketCan:
#if defined(__linux__)
      return std::make_unique<SocketCanBus>(uri.device);
#else
      throw BusError("socketcan: is the CAN of Linux alone; a serial adapter is slcan:DEVICE");
#endif
    case BusKind::kPassThru:
      return std::make_unique<PassThruBus>(
          OpenPassThruLink(FindPassThruLibrary(uri.device), uri.width), uri.form, uri.bit_rate,
          KLineTiming{.p1 = uri.p1, .p3 = uri.p3, .p4 = uri.p4});
    case BusKind::kSimulated:
      break;
  }
  throw std::invalid_argument("a simulated bus has no adapter");
}

}  // namespace quillmark::host
