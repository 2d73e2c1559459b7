// SPDX-License-Identifier: MIT
#pragma once

#include "quillmark/host/bus.h"
#include "quillmark/request_document.h"

namespace quillmark::host {

/// With whom the steps of `request` are exchanged. Raises Error 13 if it is not of `form`.
[[nodiscard]] Exchange ExchangeOf(const RequestDocument& request, TransportForm form);

/// Reads a document that is to be run. Raises Error 13 also if it already holds replies.
[[nodiscard]] RequestDocument ReadNewRequestDocument(const DOMDocument& document);

}  // namespace quillmark::host
