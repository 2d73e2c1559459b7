// SPDX-License-Identifier: MIT
#include "base/com/registration.h"

#include <gmock/gmock.h>

#include <map>

#include "tests/src/component/com/com_test.h"

namespace quillmark::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

/// A registry that refuses one of its writes, or its removals.
class FakeRegistry final : public com::Registry {
 public:
  LSTATUS Write(const std::wstring& key, const wchar_t* name, const std::wstring& value) override {
    if (++writes_ == refused_write) {
      return ERROR_ACCESS_DENIED;
    }
    values[key + L" " + (name == nullptr ? L"" : name)] = value;
    return ERROR_SUCCESS;
  }

  LSTATUS Remove(const std::wstring& key) override {
    if (refuses_removal) {
      return ERROR_ACCESS_DENIED;
    }
    std::erase_if(values, [&](const auto& entry) { return entry.first.starts_with(key); });
    return ERROR_SUCCESS;
  }

  std::map<std::wstring, std::wstring> values;
  int refused_write = 0;
  bool refuses_removal = false;

 private:
  int writes_ = 0;
};

const std::vector<com::RegisteredClass>& Classes() {
  static const std::vector<com::RegisteredClass> classes = {
      {__uuidof(::DiagOnCANReprog), L"A.One", L"the first", IID_IUnknown},
      {__uuidof(::XMLDocClient), L"A.Two", L"the second"}};
  return classes;
}

constexpr auto kFirstClass = L"CLSID\\{2C6D9ADA-FACB-47E2-A430-BB0492B8AA0C}";

TEST(Registration, NamesFileThreadingModelProgIDAndTypeLibrary) {
  FakeRegistry registry;
  com::Register(registry, L"C:\\one.dll", Classes());
  const std::wstring key = kFirstClass;
  EXPECT_EQ(registry.values[key + L" "], L"the first");
  EXPECT_EQ(registry.values[key + L"\\InprocServer32 "], L"C:\\one.dll");
  EXPECT_EQ(registry.values[key + L"\\InprocServer32 ThreadingModel"], L"Both");
  EXPECT_EQ(registry.values[key + L"\\ProgID "], L"A.One");
  EXPECT_EQ(registry.values[key + L"\\TypeLib "], L"{00000000-0000-0000-C000-000000000046}");
  EXPECT_EQ(registry.values[L"A.One\\CLSID "], L"{2C6D9ADA-FACB-47E2-A430-BB0492B8AA0C}");
  EXPECT_EQ(registry.values[L"A.Two "], L"the second");
}

TEST(Registration, LeavesNothingWhateverWriteIsRefused) {
  FakeRegistry complete;
  com::Register(complete, L"C:\\one.dll", Classes());
  const int writes = static_cast<int>(complete.values.size());
  ASSERT_EQ(writes, 13);
  for (int refused = 1; refused <= writes; ++refused) {
    FakeRegistry registry;
    registry.refused_write = refused;
    const Error error = ErrorFrom([&] { com::Register(registry, L"C:\\one.dll", Classes()); });
    EXPECT_EQ(error.Number(), E_ACCESSDENIED);
    EXPECT_THAT(error.Description(), StartsWith("Cannot write HKEY_CLASSES_ROOT\\"));
    EXPECT_TRUE(registry.values.empty()) << refused;
  }
}

TEST(Registration, SaysWhichKeyItCouldNotRemoveAndRemovesTheRest) {
  FakeRegistry registry;
  com::Register(registry, L"C:\\one.dll", Classes());
  registry.refuses_removal = true;
  const Error error = ErrorFrom([&] { com::Unregister(registry, Classes()); });
  EXPECT_EQ(error.Number(), E_ACCESSDENIED);
  EXPECT_THAT(error.Description(), StartsWith("Cannot remove HKEY_CLASSES_ROOT\\A.One: "));
}

/// A key of the user's that takes the place of HKEY_CLASSES_ROOT in this process meanwhile.
class PrivateClassesRoot {
 public:
  PrivateClassesRoot() {
    RegDeleteTreeW(HKEY_CURRENT_USER, kPath);
    EXPECT_EQ(RegCreateKeyW(HKEY_CURRENT_USER, kPath, &key_), ERROR_SUCCESS);
    // Every Windows has these.
    for (const wchar_t* folder : {L"CLSID", L"Interface", L"TypeLib"}) {
      HKEY made = nullptr;
      EXPECT_EQ(RegCreateKeyW(key_, folder, &made), ERROR_SUCCESS);
      RegCloseKey(made);
    }
    EXPECT_EQ(RegOverridePredefKey(HKEY_CLASSES_ROOT, key_), ERROR_SUCCESS);
  }
  PrivateClassesRoot(const PrivateClassesRoot&) = delete;
  PrivateClassesRoot& operator=(const PrivateClassesRoot&) = delete;
  ~PrivateClassesRoot() {
    RegOverridePredefKey(HKEY_CLASSES_ROOT, nullptr);
    RegCloseKey(key_);
    RegDeleteTreeW(HKEY_CURRENT_USER, kPath);
  }

  /// From now on every use of the key fails.
  void Delete() { EXPECT_EQ(RegDeleteTreeW(HKEY_CURRENT_USER, kPath), ERROR_SUCCESS); }

  /// The keys one level down, and those below the three folders.
  [[nodiscard]] std::vector<std::wstring> Keys() const {
    std::vector<std::wstring> keys;
    for (const std::wstring& key : KeysUnder(key_, L"")) {
      keys.push_back(key);
      for (const std::wstring& below : KeysUnder(key_, key)) {
        keys.push_back(key + L"\\" + below);
      }
    }
    return keys;
  }

 private:
  static constexpr const wchar_t* kPath = L"Software\\QuillmarkRegistrationTest";

  static std::vector<std::wstring> KeysUnder(HKEY root, const std::wstring& path) {
    std::vector<std::wstring> names;
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, &key), ERROR_SUCCESS);
    std::wstring name(MAX_PATH, L'\0');
    for (DWORD index = 0; RegEnumKeyW(key, index, name.data(), MAX_PATH) == ERROR_SUCCESS;
         ++index) {
      names.emplace_back(name.c_str());
    }
    RegCloseKey(key);
    return names;
  }

  HKEY key_ = nullptr;
};

class ModuleRegistrationTest : public ComTest {
 protected:
  HRESULT Register() { return module_.Entry<HRESULT WINAPI()>("DllRegisterServer")(); }
  HRESULT Unregister() { return module_.Entry<HRESULT WINAPI()>("DllUnregisterServer")(); }

  PrivateClassesRoot root_;
};

const std::vector<std::wstring> kFolders = {L"CLSID", L"Interface", L"TypeLib"};

TEST_F(ModuleRegistrationTest, CoversClassesProgIDsInterfacesAndTypeLibrary) {
  ASSERT_EQ(Register(), S_OK);
  EXPECT_THAT(
      root_.Keys(),
      ::testing::IsSupersetOf(
          {std::wstring(kFirstClass),
           std::wstring(L"CLSID\\{A9D9934A-8200-4F24-8B6E-97557F434C15}"),
           std::wstring(L"Quillmark.DiagOnCANReprog"), std::wstring(L"Quillmark.XMLDocClient"),
           std::wstring(L"TypeLib\\{CF1DB95C-CAD7-45E4-93CE-5F3F0791CBD5}"),
           std::wstring(L"Interface\\{30E9688B-26FC-4C75-9935-E297FEE8208A}"),
           std::wstring(L"Interface\\{FD7D4D9C-7DA0-4B2F-B40A-C82980CDF9E6}"),
           std::wstring(L"Interface\\{1F48CAB0-30A1-4C14-9104-6B1082FA7C4A}")}));
}

TEST_F(ModuleRegistrationTest, MayBeRepeated) {
  ASSERT_EQ(Register(), S_OK);
  const auto once = root_.Keys();
  EXPECT_EQ(Register(), S_OK);
  EXPECT_EQ(root_.Keys(), once);
}

TEST_F(ModuleRegistrationTest, UnregisteringLeavesNothing) {
  ASSERT_EQ(Register(), S_OK);
  EXPECT_EQ(Unregister(), S_OK);
  EXPECT_THAT(root_.Keys(), ::testing::UnorderedElementsAreArray(kFolders));
  EXPECT_EQ(Unregister(), S_OK);
}

TEST_F(ModuleRegistrationTest, SaysWhichKeyTheRegistryRefused) {
  root_.Delete();
  const HRESULT status = Register();
  EXPECT_TRUE(FAILED(status));
  EXPECT_THAT(ErrorText([&] { RequireCall(status); }),
              HasSubstr(" Cannot write HKEY_CLASSES_ROOT\\CLSID\\{2C6D9ADA-"));
}

}  // namespace
}  // namespace quillmark::testing
