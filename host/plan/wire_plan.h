// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include "host/runner/message_reader.h"
#include "quillmark/dom.h"
#include "quillmark/host/plan.h"

namespace quillmark::host {

/// Adds up what the documents of a download will put on the wire.
class WirePlan {
 public:
  /// `plan` must outlive this.
  WirePlan(const Exchange& exchange, const WireSpeed& speed, DownloadPlan& plan)
      : exchange_(exchange), speed_(speed), plan_(plan) {}

  /// Adds a document of the component that has not been run. Raises Error 13 if it has no steps.
  void Add(const DOMDocument& document);

 private:
  void AddSent(ByteView frame, RequestReader& reader);
  void AddPauses(const IXMLDOMNode& steps, std::string_view name);
  void AddRequest(ByteView request);

  Exchange exchange_;
  WireSpeed speed_;
  DownloadPlan& plan_;
};

}  // namespace quillmark::host
