// SPDX-License-Identifier: MIT
#include "transfer_platform.h"

namespace quillmark::python {

const std::shared_ptr<PortablePlatform>& SharedPlatform() {
  static const auto* const platform =
      new std::shared_ptr<PortablePlatform>(CreatePortablePlatform());
  return *platform;
}

std::int32_t TransferPlatform::StartThread(std::string_view progID, ParameterList parameters,
                                           const std::shared_ptr<Object>& /*object*/) {
  return ForwardingPlatform::StartThread(progID, parameters, std::exchange(client_, nullptr));
}

}  // namespace quillmark::python
