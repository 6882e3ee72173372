// The platform's types, constants and identities are the same wherever the library is built, whoever supplies
// them.
#include <CorvaneQueue/Variant.h>

#include <gtest/gtest.h>

namespace CorvaneQueue {
namespace {

TEST(PlatformTypes, HaveOneLayout) {
  EXPECT_EQ(sizeof(OLECHAR), 2u);
  EXPECT_EQ(sizeof(LONG), 4u);
  EXPECT_EQ(sizeof(VARIANT_BOOL), 2u);
  EXPECT_EQ(sizeof(DATE), 8u);
  EXPECT_EQ(sizeof(GUID), 16u);
  EXPECT_EQ(sizeof(VARIANT), 24u);
  EXPECT_EQ(offsetof(VARIANT, vt), 0u);
  EXPECT_EQ(offsetof(VARIANT, bstrVal), 8u);
  EXPECT_EQ(offsetof(VARIANT, boolVal), 8u);
  EXPECT_EQ(sizeof(SAFEARRAY), 32u);
  EXPECT_EQ(offsetof(SAFEARRAY, cbElements), 4u);
  EXPECT_EQ(offsetof(SAFEARRAY, pvData), 16u);
  EXPECT_EQ(offsetof(SAFEARRAY, rgsabound), 24u);
  EXPECT_EQ(sizeof(DISPPARAMS), 24u);
  EXPECT_EQ(offsetof(DISPPARAMS, rgdispidNamedArgs), 8u);
  EXPECT_EQ(offsetof(DISPPARAMS, cNamedArgs), 20u);
  EXPECT_EQ(sizeof(EXCEPINFO), 64u);
  EXPECT_EQ(offsetof(EXCEPINFO, bstrDescription), 16u);
  EXPECT_EQ(offsetof(EXCEPINFO, scode), 56u);
}

TEST(PlatformTypes, HaveOneSetOfConstants) {
  const std::pair<VARTYPE, int> types[] = {
      {VT_EMPTY, 0},      {VT_NULL, 1},      {VT_I2, 2},       {VT_I4, 3},     {VT_R8, 5},
      {VT_DATE, 7},       {VT_BSTR, 8},      {VT_DISPATCH, 9}, {VT_ERROR, 10}, {VT_BOOL, 11},
      {VT_VARIANT, 12},   {VT_UNKNOWN, 13},  {VT_UI1, 17},     {VT_I8, 20},    {VT_VOID, 24},
      {VT_ARRAY, 0x2000}, {VT_BYREF, 0x4000}};
  for (const auto& [type, number] : types) EXPECT_EQ(type, number);
  const std::pair<HRESULT, unsigned> results[] = {{E_NOTIMPL, 0x80004001u},
                                                  {E_NOINTERFACE, 0x80004002u},
                                                  {E_POINTER, 0x80004003u},
                                                  {E_FAIL, 0x80004005u},
                                                  {E_INVALIDARG, 0x80070057u},
                                                  {E_OUTOFMEMORY, 0x8007000Eu},
                                                  {DISP_E_MEMBERNOTFOUND, 0x80020003u},
                                                  {DISP_E_PARAMNOTFOUND, 0x80020004u},
                                                  {DISP_E_TYPEMISMATCH, 0x80020005u},
                                                  {DISP_E_UNKNOWNNAME, 0x80020006u},
                                                  {DISP_E_BADVARTYPE, 0x80020008u},
                                                  {DISP_E_EXCEPTION, 0x80020009u},
                                                  {DISP_E_OVERFLOW, 0x8002000Au},
                                                  {DISP_E_BADINDEX, 0x8002000Bu},
                                                  {DISP_E_BADPARAMCOUNT, 0x8002000Eu},
                                                  {RPC_E_WRONG_THREAD, 0x8001010Eu},
                                                  {CLASS_E_NOAGGREGATION, 0x80040110u},
                                                  {CLASS_E_CLASSNOTAVAILABLE, 0x80040111u},
                                                  {CO_E_CLASSSTRING, 0x800401F3u},
                                                  {CONNECT_E_NOCONNECTION, 0x80040200u},
                                                  {CONNECT_E_CANNOTCONNECT, 0x80040202u}};
  for (const auto& [result, number] : results) EXPECT_EQ(static_cast<unsigned>(result), number);
  EXPECT_EQ(VARIANT_TRUE, -1);
  EXPECT_EQ(DISPID_NEWENUM, -4);
  EXPECT_EQ(DISPID_PROPERTYPUT, -3);
  EXPECT_EQ(DISPATCH_PROPERTYPUTREF, 8);
  EXPECT_EQ(VARIANT_ALPHABOOL, 2);
}

TEST(PlatformTypes, HaveOneIdentityEach) {
  EXPECT_TRUE(IID_IUnknown == iidOf<IUnknown>);
  EXPECT_TRUE(IID_IDispatch == iidOf<IDispatch>);
  EXPECT_TRUE(IID_IEnumVARIANT == iidOf<IEnumVARIANT>);
  EXPECT_TRUE(IID_IErrorInfo == iidOf<IErrorInfo>);
  EXPECT_TRUE(IID_ISupportErrorInfo == iidOf<ISupportErrorInfo>);
  EXPECT_TRUE(IID_IClassFactory == iidOf<IClassFactory>);
  EXPECT_TRUE(IID_IConnectionPoint == iidOf<IConnectionPoint>);
  EXPECT_TRUE(IID_IConnectionPointContainer == iidOf<IConnectionPointContainer>);
  const GUID dispatch = {0x00020400, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
  EXPECT_TRUE(IID_IDispatch == dispatch);
}

TEST(PlatformTypes, TextsCarryTheirLengthAndWhateverUnits) {
  const std::u16string text = {u'a', 0, 0xDC00, u'b'};
  const String string(text);
  EXPECT_EQ(SysStringLen(string.bstr()), 4u);
  EXPECT_EQ(SysStringByteLen(string.bstr()), 8u);
  EXPECT_EQ(string.view(), text);
  EXPECT_EQ(string.view().data()[4], u'\0');
  EXPECT_EQ(toString(Variant(1.5).get()), u"1.5");  // whatever the user's decimal sign
  EXPECT_EQ(toString(Variant(true).get()), u"True");
}

}  // namespace
}  // namespace CorvaneQueue
