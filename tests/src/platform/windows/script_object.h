// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <string>
#include <vector>

#include "base/com/scriptable.h"
#include "base/com/variant.h"
#include "quillmark/error.h"

namespace quillmark::testing {

/// An object of a host with the members that a test names; each returns its number, and `Clone` the
/// object itself. It counts how often its members' names were asked for.
class ScriptObject final : public com::Scriptable {
 public:
  explicit ScriptObject(std::vector<com::Member> members) : members_(std::move(members)) {}

  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID reserved, LPOLESTR* names, UINT count, LCID locale,
                                          DISPID* ids) override {
    ++lookups;
    return Scriptable::GetIDsOfNames(reserved, names, count, locale, ids);
  }

  /// What the next call is to raise.
  void Raise(std::int32_t number, std::string description) {
    failure_ = Error(number, std::move(description));
  }

  int lookups = 0;

 private:
  [[nodiscard]] std::span<const com::Member> Members() const override { return members_; }

  [[nodiscard]] com::Variant Get(DISPID id, const com::Arguments& /*arguments*/) override {
    if (failure_) {
      throw Error(*failure_);
    }
    return com::Variant::OfLong(id);
  }

  std::vector<com::Member> members_;
  std::optional<Error> failure_;
};

/// A new object with these members, and a reference on it.
inline com::ComPtr<ScriptObject> NewScriptObject(std::vector<com::Member> members) {
  return com::ComPtr<ScriptObject>::Adopt(new ScriptObject(std::move(members)));
}

}  // namespace quillmark::testing
