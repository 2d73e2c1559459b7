// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <utility>

#include "quillmark/forwarding_platform.h"
#include "quillmark/portable_platform.h"

namespace quillmark::python {

/// The platform of all objects of the module. It is never destroyed, since the process may end
/// while objects live.
[[nodiscard]] const std::shared_ptr<PortablePlatform>& SharedPlatform();

/// The shared platform as one object sees it: a transfer reports to a client of its own instead of
/// the object, so that several may run at once, each with its own handler.
class TransferPlatform : public ForwardingPlatform {
 public:
  TransferPlatform() : ForwardingPlatform(SharedPlatform()) {}

  /// Who receives the documents of the next worker.
  void SetClient(std::shared_ptr<Object> client) { client_ = std::move(client); }

  [[nodiscard]] std::int32_t StartThread(std::string_view progID, ParameterList parameters,
                                         const std::shared_ptr<Object>& object) override;

 private:
  std::shared_ptr<Object> client_;
};

}  // namespace quillmark::python
