// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <memory>
#include <vector>

#include "base/com/com_ptr.h"
#include "base/com/variant.h"

namespace quillmark {

/// The arguments of one call of a member, each as the member declares it.
class CallArguments {
 public:
  /// Raises 6 for a number out of range and 13 for an argument of the wrong kind.
  CallArguments(ITypeInfo& info, DISPID member, const DISPPARAMS& given);
  CallArguments(const CallArguments&) = delete;
  CallArguments& operator=(const CallArguments&) = delete;
  ~CallArguments();

  /// The arguments for the member.
  [[nodiscard]] DISPPARAMS& Parameters() { return parameters_; }

  /// Copies what the member has stored by reference to the caller's variables, and leaves them
  /// unchanged if it has stored nothing. Raises 10 for an array that cannot hold it.
  void StoreResults() const;

 private:
  class Reference;

  /// `given` converted to `declared`; the converted value lives as long as this object.
  [[nodiscard]] VARIANT Convert(const TYPEDESC& declared, VARIANT& given);

  DISPPARAMS parameters_;
  std::vector<com::Variant> converted_;
  std::vector<VARIANT> arguments_;
  std::vector<std::unique_ptr<Reference>> references_;
};

}  // namespace quillmark
