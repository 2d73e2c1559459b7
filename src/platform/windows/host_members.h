// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace quillmark::windows {

/// The members of the host's own types that the component uses.
enum class HostMember : std::uint8_t {
  kAdd,
  kAddRange,
  kAddSegment,
  kAssign,
  kChecksum,
  kClone,
  kCount,
  kEndAddress,
  kFillRunLength,
  kHex,
  kItem,
  kLength,
  kMid,
  kReset,
  kStart,
  kStartAddress,
  kStoreInto,
};
inline constexpr std::size_t kHostMemberCount = 17;

/// The identifiers of the members of one class, each looked up once. Threads: any.
class HostMembers {
 public:
  HostMembers();

  /// The identifier of a member of `object`, which is of this class. Raises 438 with a text that
  /// names the member if the class lacks it.
  [[nodiscard]] DISPID IdOf(IDispatch& object, HostMember member);

 private:
  std::array<std::atomic<DISPID>, kHostMemberCount> ids_;
};

/// The members of a class, shared by all its objects.
[[nodiscard]] std::shared_ptr<HostMembers> MembersOfClass(const CLSID& class_id);

/// The members of an object from elsewhere: those of its class if it names one, otherwise only its
/// own. An object of a script may have any identifiers.
[[nodiscard]] std::shared_ptr<HostMembers> MembersOf(IDispatch& object);

}  // namespace quillmark::windows
