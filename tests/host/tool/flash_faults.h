// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <ostream>
#include <string>
#include <vector>

namespace quillmark::host::testing {

/// What goes wrong in a flash of 300 bytes over plain CAN, and how it ends without repetition.
struct Fault {
  const char* name;
  const char* fault;
  /// How long the ECU may take; short where it is silent for good.
  const char* p2;
  std::vector<std::string> options;
  int status;
  const char* message;
  const char* state;

  friend void PrintTo(const Fault& each, std::ostream* out) { *out << each.name; }
};

/// Frames 1 to 154 identify, unlock and erase; 155 is the first frame of the first block, from 157
/// on every second one carries data of it.
inline const std::array kFlashFaults{
    Fault{"LostFrame",
          "lose-frame@161",
          "1000",
          {},
          69,
          "quillmark: download at 0x001000: the ECU does not answer (no frame within 1000 ms, "
          "expected 3001)",
          "\necu       erased, 0 of 300 bytes are written and confirmed: it holds no whole "
          "program"},
    Fault{"FlippedByte",
          "flip-byte@161",
          "5000",
          {},
          76,
          "quillmark: download at 0x001000: Download error 037F3477AAAAAAAA; negative response "
          "77, block checksum error (error 4005)",
          "\necu       erased, 0 of 300 bytes"},
    Fault{"SilentEcu",
          "silent@220",
          "1000",
          {},
          69,
          "quillmark: download at 0x001080: the ECU does not answer",
          "\necu       erased, 128 of 300 bytes are written and confirmed: it holds no whole "
          "program; its session may still be open"},
    Fault{"NegativeResponse",
          "negative@0x34:0x72",
          "5000",
          {},
          76,
          "negative response 72, programming failure",
          "\necu       erased, 0 of 300 bytes"},
    Fault{"EndlesslyPending",
          "pending@0x34:5",
          "5000",
          {"--max-pending", "2"},
          76,
          "quillmark: download at 0x001000: the ECU stays busy (received 037F3478AAAAAAAA, "
          "expected 027402)",
          "\necu       erased, 0 of 300 bytes"},
    Fault{"Unplugged",
          "unplug@220",
          "5000",
          {},
          74,
          " is gone: ",
          "\necu       erased, 128 of 300 bytes are written and confirmed: it holds no whole "
          "program; its session may still be open"}};

}  // namespace quillmark::host::testing
