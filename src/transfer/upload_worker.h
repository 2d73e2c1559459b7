// SPDX-License-Identifier: MIT
#pragma once

#include "context/context.h"
#include "quillmark/xml_doc_client.h"
#include "transfer/transfer_parameters.h"

namespace quillmark::transfer {

/// Cuts the ranges of `parameters` into upload requests and streams them to `client`.
void RunUpload(Context& context, TransferParameters& parameters, XMLDocClient& client);

}  // namespace quillmark::transfer
