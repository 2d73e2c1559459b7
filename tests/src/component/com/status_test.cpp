// SPDX-License-Identifier: MIT
#include "base/com/status.h"

#include <gtest/gtest.h>

#include "base/com/com_ptr.h"

namespace quillmark::com {
namespace {

constexpr HRESULT Status(std::uint32_t code) { return static_cast<HRESULT>(code); }

TEST(Status, CarriesANumberThereAndBack) {
  for (const std::int32_t number : {1, 6, 9, 91, 1000, 2044, 4012, 0xFFFF}) {
    EXPECT_EQ(StatusOf(number), Status(0x800A0000U + static_cast<std::uint32_t>(number)));
    EXPECT_EQ(NumberOf(StatusOf(number)), number);
  }
}

TEST(Status, LeavesAForeignFailureAsItIs) {
  for (const HRESULT status : {E_FAIL, E_NOINTERFACE, Status(0x80040154), Status(0x800A0000)}) {
    EXPECT_EQ(NumberOf(status), status);
    EXPECT_EQ(StatusOf(status), status);
  }
}

TEST(Status, IsAFailureForEveryNumber) {
  for (const std::int32_t number : {0, 0x10000, 2000000000}) {
    EXPECT_TRUE(FAILED(StatusOf(number))) << number;
  }
}

TEST(ErrorInfo, CarriesNumberAndDescriptionAndNoSource) {
  EXPECT_EQ(Report(Error(2003, "Checksum error é")), Status(0x800A07D3));
  ComPtr<IErrorInfo> info;
  ASSERT_EQ(GetErrorInfo(0, info.Put()), S_OK);
  Bstr description;
  Bstr source;
  ASSERT_EQ(info->GetDescription(description.Put()), S_OK);
  EXPECT_EQ(description.view(), L"Checksum error \u00E9");
  EXPECT_TRUE(FAILED(info->GetSource(source.Put())) || source.view().empty());
}

TEST(ErrorInfo, IsReadOnce) {
  const HRESULT status = Report(Error(9, "pure virtual class"));
  EXPECT_EQ(ReportedError(status).Description(), "pure virtual class");
  EXPECT_EQ(ReportedError(status).Description(), "Subscript out of range");
}

}  // namespace
}  // namespace quillmark::com
