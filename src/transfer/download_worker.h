// SPDX-License-Identifier: MIT
#pragma once

#include "context/context.h"
#include "quillmark/xml_doc_client.h"
#include "transfer/transfer_parameters.h"

namespace quillmark::transfer {

/// Raises 1000 "Invalid block size (…)" outside 1..255: the length of a block is one byte.
void RequireBlockSize(std::int32_t MaxSize);

/// Cuts the image of `parameters` into download requests and streams them to `client`. Takes
/// ownership of the image document, so that its memory is released once the image is rebuilt.
void RunDownload(Context& context, TransferParameters& parameters, XMLDocClient& client);

}  // namespace quillmark::transfer
