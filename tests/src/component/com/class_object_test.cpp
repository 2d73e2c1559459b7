// SPDX-License-Identifier: MIT
#include "tests/src/component/com/com_test.h"

namespace quillmark::testing {
namespace {

class ClassObjectTest : public ComTest {
 protected:
  HRESULT Get(REFCLSID id, com::ComPtr<IClassFactory>& factory) {
    return module_.Entry<HRESULT WINAPI(REFCLSID, REFIID, void**)>("DllGetClassObject")(
        id, IID_IClassFactory, factory.PutVoid());
  }
};

TEST_F(ClassObjectTest, IsThereForBothClassesAndNoOther) {
  com::ComPtr<IClassFactory> factory;
  EXPECT_EQ(Get(__uuidof(::DiagOnCANReprog), factory), S_OK);
  EXPECT_EQ(Get(__uuidof(::XMLDocClient), factory), S_OK);
  EXPECT_EQ(Get(IID_IUnknown, factory), CLASS_E_CLASSNOTAVAILABLE);
}

TEST_F(ClassObjectTest, MakesNoPartOfAnotherObject) {
  com::ComPtr<IClassFactory> factory;
  ASSERT_EQ(Get(__uuidof(::DiagOnCANReprog), factory), S_OK);
  com::ComPtr<IUnknown> object;
  EXPECT_EQ(factory->CreateInstance(factory.get(), IID_IUnknown, object.PutVoid()),
            CLASS_E_NOAGGREGATION);
}

TEST_F(ClassObjectTest, CreatingXMLDocClientFailsAtOnce) {
  EXPECT_EQ(ErrorText([] { static_cast<void>(NewObject(L"Quillmark.XMLDocClient")); }),
            "9 pure virtual class");
}

TEST_F(ClassObjectTest, AnObjectOrALockKeepsTheModuleLoaded) {
  EXPECT_TRUE(module_.CanUnload());
  {
    const DiagPtr diag = NewDiag();
    EXPECT_FALSE(module_.CanUnload());
  }
  EXPECT_TRUE(module_.CanUnloadSoon());
  com::ComPtr<IClassFactory> factory;
  ASSERT_EQ(Get(__uuidof(::DiagOnCANReprog), factory), S_OK);
  factory->LockServer(TRUE);
  factory = {};
  EXPECT_FALSE(module_.CanUnload());
  ASSERT_EQ(Get(__uuidof(::DiagOnCANReprog), factory), S_OK);
  factory->LockServer(FALSE);
}

TEST_F(ClassObjectTest, EveryInterfaceOfAnObjectLeadsToTheOthers) {
  const DiagPtr diag = NewDiag();
  const auto identity = diag.As<IUnknown>();
  const std::vector<GUID> interfaces = {
      __uuidof(IDiagOnCANReprog),   __uuidof(IXMLDocClient), __uuidof(::IThread),    IID_IDispatch,
      IID_ISupportErrorInfo,        IID_IProvideClassInfo,   IID_IProvideClassInfo2, IID_IMarshal,
      IID_IConnectionPointContainer};
  for (const GUID& from : interfaces) {
    com::ComPtr<IUnknown> one;
    ASSERT_EQ(diag->QueryInterface(from, one.PutVoid()), S_OK);
    for (const GUID& to : interfaces) {
      com::ComPtr<IUnknown> other;
      EXPECT_EQ(one->QueryInterface(to, other.PutVoid()), S_OK);
    }
    EXPECT_EQ(one.As<IUnknown>().get(), identity.get());
  }
  com::ComPtr<IUnknown> none;
  EXPECT_EQ(diag->QueryInterface(IID_IClassFactory, none.PutVoid()), E_NOINTERFACE);
  EXPECT_EQ(diag->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
}

TEST_F(ClassObjectTest, AnObjectNamesItsClassAndItsEvents) {
  const auto class_info = NewDiag().As<IProvideClassInfo2>();
  com::ComPtr<ITypeInfo> info;
  ASSERT_EQ(class_info->GetClassInfo(info.Put()), S_OK);
  TYPEATTR* attributes = nullptr;
  ASSERT_EQ(info->GetTypeAttr(&attributes), S_OK);
  EXPECT_EQ(attributes->guid, __uuidof(::DiagOnCANReprog));
  EXPECT_EQ(attributes->typekind, TKIND_COCLASS);
  info->ReleaseTypeAttr(attributes);
  GUID events = {};
  EXPECT_EQ(class_info->GetGUID(GUIDKIND_DEFAULT_SOURCE_DISP_IID, &events), S_OK);
  EXPECT_EQ(events, __uuidof(_IDiagOnCANReprogEvents));
  EXPECT_EQ(class_info->GetGUID(0, &events), E_INVALIDARG);
}

TEST_F(ClassObjectTest, ItsOwnInterfacesSupportErrorInfo) {
  const auto support = NewDiag().As<ISupportErrorInfo>();
  EXPECT_EQ(support->InterfaceSupportsErrorInfo(__uuidof(IDiagOnCANReprog)), S_OK);
  EXPECT_EQ(support->InterfaceSupportsErrorInfo(__uuidof(IXMLDocClient)), S_OK);
  EXPECT_EQ(support->InterfaceSupportsErrorInfo(__uuidof(::IThread)), S_OK);
  EXPECT_EQ(support->InterfaceSupportsErrorInfo(IID_IProvideClassInfo2), S_FALSE);
}

}  // namespace
}  // namespace quillmark::testing
