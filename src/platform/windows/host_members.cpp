// SPDX-License-Identifier: MIT
#include "platform/windows/host_members.h"

#include <ocidl.h>

#include <cstring>
#include <map>
#include <mutex>
#include <optional>
#include <string_view>

#include "base/com/com_ptr.h"
#include "base/com/dispatch.h"

namespace quillmark::windows {
namespace {

/// In the order of `HostMember`.
constexpr std::array<std::wstring_view, kHostMemberCount> kNames = {
    L"Add",   L"AddRange",   L"AddSegment",    L"Assign",       L"Checksum", L"Clone",
    L"Count", L"EndAddress", L"FillRunLength", L"Hex",          L"Item",     L"Length",
    L"Mid",   L"Reset",      L"Start",         L"StartAddress", L"StoreInto"};

/// Not a dispatch identifier that a member can have.
constexpr DISPID kNotAskedYet = DISPID_UNKNOWN;

struct LessClass {
  bool operator()(const CLSID& a, const CLSID& b) const {
    return std::memcmp(&a, &b, sizeof(CLSID)) < 0;
  }
};

/// The class of an object that provides it.
std::optional<CLSID> ClassOf(IDispatch& object) {
  const auto provider = com::Share(&object).As<IProvideClassInfo>();
  com::ComPtr<ITypeInfo> info;
  if (!provider || FAILED(provider->GetClassInfo(info.Put())) || !info) {
    return std::nullopt;
  }
  TYPEATTR* attributes = nullptr;
  if (FAILED(info->GetTypeAttr(&attributes))) {
    return std::nullopt;
  }
  const CLSID class_id = attributes->guid;
  info->ReleaseTypeAttr(attributes);
  return class_id == CLSID_NULL ? std::nullopt : std::optional(class_id);
}

}  // namespace

HostMembers::HostMembers() {
  for (std::atomic<DISPID>& id : ids_) {
    id.store(kNotAskedYet, std::memory_order_relaxed);
  }
}

DISPID HostMembers::IdOf(IDispatch& object, HostMember member) {
  const auto index = static_cast<std::size_t>(member);
  const DISPID known = ids_[index].load(std::memory_order_relaxed);
  if (known != kNotAskedYet) {
    return known;
  }
  const DISPID id = com::MemberOf(object, kNames[index]);
  ids_[index].store(id, std::memory_order_relaxed);
  return id;
}

std::shared_ptr<HostMembers> MembersOfClass(const CLSID& class_id) {
  static std::mutex mutex;
  static std::map<CLSID, std::shared_ptr<HostMembers>, LessClass> classes;
  const std::lock_guard lock(mutex);
  std::shared_ptr<HostMembers>& members = classes[class_id];
  if (!members) {
    members = std::make_shared<HostMembers>();
  }
  return members;
}

std::shared_ptr<HostMembers> MembersOf(IDispatch& object) {
  const auto class_id = ClassOf(object);
  return class_id ? MembersOfClass(*class_id) : std::make_shared<HostMembers>();
}

}  // namespace quillmark::windows
