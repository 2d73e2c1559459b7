// SPDX-License-Identifier: MIT
#pragma once

#include "platform/windows/host_object.h"
#include "quillmark/byte_string.h"
#include "quillmark/checksum_calculator.h"
#include "quillmark/dom.h"
#include "quillmark/memory_image.h"
#include "quillmark/memory_map.h"

/// The objects that the platform creates: documents of MSXML, and the types of the host's
/// diagnostic library, each wrapping an object whose members are called by name.
namespace quillmark::windows {

/// New objects. Raise as `CreateObject` does if MSXML or the host's library is missing.
[[nodiscard]] std::shared_ptr<DOMDocument> NewDocument();
[[nodiscard]] std::shared_ptr<FreeThreadedDOMDocument> NewFreeThreadedDocument();
[[nodiscard]] std::shared_ptr<ByteString> NewHostByteString();
[[nodiscard]] std::shared_ptr<MemoryImage> NewHostMemoryImage();
[[nodiscard]] std::shared_ptr<MemoryMap> NewHostMemoryMap();
[[nodiscard]] std::shared_ptr<ChecksumCalculator> NewHostChecksumCalculator();

[[nodiscard]] std::shared_ptr<ByteString> MakeByteString(HostObject object);

/// `string` as an argument: its host object, or a copy of a string of another platform.
[[nodiscard]] com::Variant ArgumentOf(const ByteString& string);

}  // namespace quillmark::windows
