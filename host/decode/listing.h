// SPDX-License-Identifier: MIT
#pragma once

#include <ostream>

#include "host/bus/bus.h"
#include "host/decode/decoding.h"
#include "quillmark/dom.h"

namespace quillmark::host {

enum class ListingDetail : std::uint8_t {
  kMessages,  ///< a line for each message
  kFrames,    ///< and one for each of its frames
};

/// Lists a trace: time in seconds, > to the ECU or < from it, the number of frames, the service
/// bytes and what they say.
void ListTrace(std::ostream& out, const Decoding& decoding, ListingDetail detail);

/// Lists a document, which may have been run or not: replies that have not come yet are listed as
/// expected. Raises Error 13 if it is not a document of the form.
void ListDocument(std::ostream& out, const DOMDocument& document, TransportForm form,
                  ListingDetail detail);

}  // namespace quillmark::host
