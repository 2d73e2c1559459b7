// SPDX-License-Identifier: MIT
#pragma once

/// @namespace quillmark
/// What a host compiles against: the classes, the factories, and the types that are not classes.
/// This header includes all of it.
#include "quillmark/byte_string.h"          // IWYU pragma: export
#include "quillmark/checksum_calculator.h"  // IWYU pragma: export
#include "quillmark/diag_on_can_reprog.h"   // IWYU pragma: export
#include "quillmark/dom.h"                  // IWYU pragma: export
#include "quillmark/error.h"                // IWYU pragma: export
#include "quillmark/forwarding_platform.h"  // IWYU pragma: export
#include "quillmark/memory_image.h"         // IWYU pragma: export
#include "quillmark/memory_map.h"           // IWYU pragma: export
#include "quillmark/platform.h"             // IWYU pragma: export
#include "quillmark/portable_platform.h"    // IWYU pragma: export
#include "quillmark/request_document.h"     // IWYU pragma: export
#include "quillmark/threading.h"            // IWYU pragma: export
#include "quillmark/version.h"              // IWYU pragma: export
#include "quillmark/xml_doc_client.h"       // IWYU pragma: export
