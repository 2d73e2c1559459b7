// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <cstddef>
#include <span>
#include <string_view>

#include "base/com/arguments.h"
#include "base/com/unknown.h"
#include "base/com/variant.h"

namespace quillmark::com {

/// A member of a class, as a script calls it.
struct Member {
  std::wstring_view name;
  DISPID id;
  /// Not counting the new value when a property is set.
  std::size_t arguments = 0;
  bool settable = false;
  /// How many further ones a call may have.
  std::size_t optional_arguments = 0;
};

/// A class by its members' names: the dispatch interface of every object here. An error of a member
/// becomes the exception of the call, with number and description.
class Scriptable : public InvokeOnly {
 public:
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID reserved, LPOLESTR* names, UINT count, LCID locale,
                                          DISPID* ids) override;
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID reserved, LCID locale, WORD kind,
                                   DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                                   UINT* bad_argument) override;

 private:
  [[nodiscard]] virtual std::span<const Member> Members() const = 0;
  /// Runs a method or reads a property.
  [[nodiscard]] virtual Variant Get(DISPID id, const Arguments& arguments) = 0;
  /// Sets a property.
  virtual void Set(DISPID id, const Arguments& arguments);

  HRESULT Run(const Member& member, WORD kind, const DISPPARAMS& parameters, VARIANT* result);
};

}  // namespace quillmark::com
