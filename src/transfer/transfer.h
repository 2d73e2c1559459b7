// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>

#include "context/context.h"
#include "quillmark/dom.h"
#include "quillmark/memory_image.h"
#include "quillmark/xml_doc_client.h"
#include "transfer/transfer_parameters.h"

/// Transfers as the public class starts, runs and checks them.
namespace quillmark::transfer {

/// Raises 1000 "Invalid block size (…)" outside 1..255: the length of a block is one byte.
void RequireBlockSize(std::int32_t MaxSize);

/// Cuts the image of `parameters` into download requests and streams them to `client`. Takes
/// ownership of the image document, so that its memory is released once the image is rebuilt.
void RunDownload(Context& context, TransferParameters& parameters, XMLDocClient& client);

/// Cuts the ranges of `parameters` into upload requests and streams them to `client`.
void RunUpload(Context& context, TransferParameters& parameters, XMLDocClient& client);

// The checks of transfer documents after their run, on the host's thread.

/// D18.
void checkdownload(const Context& context, const std::shared_ptr<DOMDocument>& root);

/// Adds one segment per reply to `Image`, all or none. D23.
void checkupload(const Context& context, const std::shared_ptr<DOMDocument>& root,
                 const std::shared_ptr<MemoryImage>& Image);

}  // namespace quillmark::transfer
