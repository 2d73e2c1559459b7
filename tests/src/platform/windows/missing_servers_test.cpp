// SPDX-License-Identifier: MIT
// Run in a Windows of its own, in which no library of a host is registered and from which a test
// may remove what is to be missing.
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "support/expect_error.h"
#include "tested_platform.h"

namespace quillmark::testing {
namespace {

/// Takes a class out of the registry for as long as it lives.
class HiddenClass {
 public:
  explicit HiddenClass(std::wstring prog_id) : prog_id_(std::move(prog_id)) {
    Move(prog_id_, Hidden());
  }
  HiddenClass(const HiddenClass&) = delete;
  HiddenClass& operator=(const HiddenClass&) = delete;
  ~HiddenClass() { Move(Hidden(), prog_id_); }

 private:
  [[nodiscard]] std::wstring Hidden() const { return L"Hidden." + prog_id_; }

  static void Move(const std::wstring& from, const std::wstring& to) {
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyW(HKEY_CLASSES_ROOT, to.c_str(), &key), ERROR_SUCCESS);
    EXPECT_EQ(RegCopyTreeW(HKEY_CLASSES_ROOT, from.c_str(), key), ERROR_SUCCESS);
    RegCloseKey(key);
    EXPECT_EQ(RegDeleteTreeW(HKEY_CLASSES_ROOT, from.c_str()), ERROR_SUCCESS);
  }

  std::wstring prog_id_;
};

TEST(MissingServers, AMissingHostLibraryIsNamed) {
  const auto platform = TestPlatform();
  EXPECT_ERROR(platform->CreateByteString(), 429,
               "ActiveX component can't create object: Vantrel.ByteString");
  EXPECT_ERROR(platform->CreateMemoryImage(), 429,
               "ActiveX component can't create object: Vantrel.MemoryImage");
  EXPECT_ERROR(platform->CreateMemoryMap(), 429,
               "ActiveX component can't create object: Vantrel.MemoryMap");
  EXPECT_ERROR(platform->CreateChecksumCalculator(), 429,
               "ActiveX component can't create object: Vantrel.ChecksumCalculator");
}

TEST(MissingServers, MissingMSXMLIsNamed) {
  const auto platform = TestPlatform();
  {
    const HiddenClass document(L"Msxml2.DOMDocument");
    const HiddenClass free_threaded(L"Msxml2.FreeThreadedDOMDocument");
    EXPECT_ERROR(platform->CreateDOMDocument(), 429,
                 "ActiveX component can't create object: Msxml2.DOMDocument");
    EXPECT_ERROR(platform->CreateFreeThreadedDOMDocument(), 429,
                 "ActiveX component can't create object: Msxml2.FreeThreadedDOMDocument");
  }
  EXPECT_NO_THROW(static_cast<void>(platform->CreateDOMDocument()));
  EXPECT_NO_THROW(static_cast<void>(platform->CreateFreeThreadedDOMDocument()));
}

}  // namespace
}  // namespace quillmark::testing
