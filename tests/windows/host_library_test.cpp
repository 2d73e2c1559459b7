// SPDX-License-Identifier: MIT
// A host's library that is not what it should be, through the registered component.
#include <gtest/gtest.h>
#include <windows.h>

#include <array>

#include "base/com/apartment.h"
#include "base/com/com_ptr.h"
#include "base/com/scriptable.h"
#include "base/com/status.h"
#include "component/com/quillmark_com.h"

namespace quillmark::host {
namespace {

/// A byte string that has a length and nothing else.
class PoorByteString final : public com::Scriptable {
 private:
  static constexpr std::array<com::Member, 1> kMembers = {{{L"Length", 1, 0, true}}};

  [[nodiscard]] std::span<const com::Member> Members() const override { return kMembers; }
  [[nodiscard]] com::Variant Get(DISPID /*id*/, const com::Arguments& /*arguments*/) override {
    return com::Variant::OfLong(0);
  }
};

TEST(HostLibrary, MemberThatItLacksIsNamed) {
  const com::Apartment apartment(COINIT_MULTITHREADED);
  CLSID id = {};
  com::Require(CLSIDFromProgID(L"Quillmark.DiagOnCANReprog", &id));
  com::ComPtr<IDiagOnCANReprog> reprog;
  com::Require(CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IDiagOnCANReprog),
                                reprog.PutVoid()));
  com::Require(reprog->CANIDs(1850, 1586));
  const auto key = com::ComPtr<IDispatch>::Adopt(new PoorByteString);
  com::ComPtr<IDispatch> document;
  const Error error = com::ReportedError(reprog->dounlock(key.get(), document.Put()));
  EXPECT_EQ(error.Number(), 438);
  EXPECT_EQ(error.Description(), "Object doesn't support this property or method: Hex");
}

}  // namespace
}  // namespace quillmark::host
