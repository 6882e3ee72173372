// The platform's automation types. Under Windows they come from the platform's own
// headers; elsewhere this header declares just the names in use, with the platform's widths and
// layouts, in the library's own namespace.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#ifdef _WIN32
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
// after windows.h
#include <ocidl.h>
#include <oleauto.h>
#include <olectl.h>
#ifdef CORVANE_BUILDS_LIBRARY
#define CORVANE_API __declspec(dllexport)
#else
#define CORVANE_API
#endif
#define CORVANE_CALL STDMETHODCALLTYPE
#else

#define CORVANE_CALL
#define CORVANE_API __attribute__((visibility("default")))

namespace CorvaneQueue {

using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using USHORT = std::uint16_t;
using SHORT = std::int16_t;
#ifndef BOOL  // a macro of other libraries, for the same type
using BOOL = std::int32_t;
#endif
using INT = std::int32_t;
using UINT = std::uint32_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using DWORD = std::uint32_t;
using LONGLONG = std::int64_t;
using ULONGLONG = std::uint64_t;
using HRESULT = std::int32_t;
using SCODE = std::int32_t;
using OLECHAR = char16_t;
using LPOLESTR = OLECHAR*;
using LPCOLESTR = const OLECHAR*;
using BSTR = OLECHAR*;
using VARTYPE = std::uint16_t;
using VARIANT_BOOL = std::int16_t;
using DATE = double;
using DISPID = LONG;
using LCID = DWORD;

inline constexpr VARIANT_BOOL VARIANT_TRUE = -1;
inline constexpr VARIANT_BOOL VARIANT_FALSE = 0;

struct GUID {
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];
  friend bool operator==(const GUID& left, const GUID& right) noexcept {
    return std::memcmp(&left, &right, sizeof(GUID)) == 0;
  }
};
using IID = GUID;
using CLSID = GUID;
using REFIID = const IID&;
using REFCLSID = const CLSID&;
using REFGUID = const GUID&;

inline constexpr GUID IID_NULL = {0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}};
inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001u);
inline constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002u);
inline constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003u);
inline constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005u);
inline constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000Eu);
inline constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057u);
inline constexpr HRESULT DISP_E_UNKNOWNINTERFACE = static_cast<HRESULT>(0x80020001u);
inline constexpr HRESULT DISP_E_MEMBERNOTFOUND = static_cast<HRESULT>(0x80020003u);
inline constexpr HRESULT DISP_E_PARAMNOTFOUND = static_cast<HRESULT>(0x80020004u);
inline constexpr HRESULT DISP_E_TYPEMISMATCH = static_cast<HRESULT>(0x80020005u);
inline constexpr HRESULT DISP_E_UNKNOWNNAME = static_cast<HRESULT>(0x80020006u);
inline constexpr HRESULT DISP_E_BADVARTYPE = static_cast<HRESULT>(0x80020008u);
inline constexpr HRESULT DISP_E_EXCEPTION = static_cast<HRESULT>(0x80020009u);
inline constexpr HRESULT DISP_E_OVERFLOW = static_cast<HRESULT>(0x8002000Au);
// A call from a thread that did not create the object.
inline constexpr HRESULT RPC_E_WRONG_THREAD = static_cast<HRESULT>(0x8001010Eu);
inline constexpr HRESULT DISP_E_BADINDEX = static_cast<HRESULT>(0x8002000Bu);
inline constexpr HRESULT DISP_E_BADPARAMCOUNT = static_cast<HRESULT>(0x8002000Eu);
inline constexpr HRESULT DISP_E_PARAMNOTOPTIONAL = static_cast<HRESULT>(0x8002000Fu);
inline constexpr HRESULT CLASS_E_NOAGGREGATION = static_cast<HRESULT>(0x80040110u);
inline constexpr HRESULT CLASS_E_CLASSNOTAVAILABLE = static_cast<HRESULT>(0x80040111u);
inline constexpr HRESULT CO_E_CLASSSTRING = static_cast<HRESULT>(0x800401F3u);
inline constexpr HRESULT CONNECT_E_NOCONNECTION = static_cast<HRESULT>(0x80040200u);
inline constexpr HRESULT CONNECT_E_CANNOTCONNECT = static_cast<HRESULT>(0x80040202u);
constexpr bool SUCCEEDED(HRESULT result) noexcept { return result >= 0; }
constexpr bool FAILED(HRESULT result) noexcept { return result < 0; }

enum VARENUM : VARTYPE {
  VT_EMPTY = 0,
  VT_NULL = 1,
  VT_I2 = 2,
  VT_I4 = 3,
  VT_R4 = 4,
  VT_R8 = 5,
  VT_DATE = 7,
  VT_BSTR = 8,
  VT_DISPATCH = 9,
  VT_ERROR = 10,
  VT_BOOL = 11,
  VT_VARIANT = 12,
  VT_UNKNOWN = 13,
  VT_UI1 = 17,
  VT_UI2 = 18,
  VT_UI4 = 19,
  VT_I8 = 20,
  VT_UI8 = 21,
  VT_INT = 22,
  VT_UINT = 23,
  VT_VOID = 24,
  VT_RECORD = 36,
  VT_ARRAY = 0x2000,
  VT_BYREF = 0x4000,
};

struct SAFEARRAYBOUND {
  ULONG cElements;
  LONG lLbound;
};
struct SAFEARRAY {
  USHORT cDims;
  USHORT fFeatures;
  ULONG cbElements;
  ULONG cLocks;
  void* pvData;
  SAFEARRAYBOUND rgsabound[1];
};

struct IUnknown;
struct IDispatch;
struct ITypeInfo;

struct BRECORD {
  void* pvRecord;
  void* pRecInfo;
};
struct VARIANT {
  VARTYPE vt;
  WORD wReserved1;
  WORD wReserved2;
  WORD wReserved3;
  union {
    LONGLONG llVal;
    LONG lVal;
    BYTE bVal;
    SHORT iVal;
    float fltVal;
    double dblVal;
    VARIANT_BOOL boolVal;
    SCODE scode;
    DATE date;
    BSTR bstrVal;
    IUnknown* punkVal;
    IDispatch* pdispVal;
    SAFEARRAY* parray;
    BYTE* pbVal;
    SHORT* piVal;
    LONG* plVal;
    LONGLONG* pllVal;
    float* pfltVal;
    double* pdblVal;
    VARIANT_BOOL* pboolVal;
    SCODE* pscode;
    DATE* pdate;
    BSTR* pbstrVal;
    IUnknown** ppunkVal;
    IDispatch** ppdispVal;
    SAFEARRAY** pparray;
    VARIANT* pvarVal;
    void* byref;
    USHORT uiVal;
    ULONG ulVal;
    ULONGLONG ullVal;
    INT intVal;
    UINT uintVal;
    BRECORD brecVal;
  };
};
using VARIANTARG = VARIANT;

inline constexpr USHORT VARIANT_ALPHABOOL = 2;  // a boolean as text is True or False, else -1 or 0

struct DISPPARAMS {
  VARIANTARG* rgvarg;
  DISPID* rgdispidNamedArgs;
  UINT cArgs;
  UINT cNamedArgs;
};
struct EXCEPINFO {
  WORD wCode;
  WORD wReserved;
  BSTR bstrSource;
  BSTR bstrDescription;
  BSTR bstrHelpFile;
  DWORD dwHelpContext;
  void* pvReserved;
  HRESULT (*pfnDeferredFillIn)(EXCEPINFO*);
  SCODE scode;
};

inline constexpr WORD DISPATCH_METHOD = 1;
inline constexpr WORD DISPATCH_PROPERTYGET = 2;
inline constexpr WORD DISPATCH_PROPERTYPUT = 4;
inline constexpr WORD DISPATCH_PROPERTYPUTREF = 8;
inline constexpr DISPID DISPID_VALUE = 0;
inline constexpr DISPID DISPID_UNKNOWN = -1;
inline constexpr DISPID DISPID_PROPERTYPUT = -3;
inline constexpr DISPID DISPID_NEWENUM = -4;

static_assert(sizeof(VARIANT) == 24 || sizeof(void*) == 4);
static_assert(offsetof(SAFEARRAY, pvData) == 16 || sizeof(void*) == 4);

}  // namespace CorvaneQueue

#endif

namespace CorvaneQueue {

// The platform's interfaces by their identities, as constants of the language.
namespace identities {
constexpr IID standard(std::uint32_t number) noexcept {
  return {number, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
}
inline constexpr IID unknown = standard(0x00000000);
inline constexpr IID classFactory = standard(0x00000001);
inline constexpr IID dispatch = standard(0x00020400);
inline constexpr IID enumVariant = standard(0x00020404);
inline constexpr IID errorInfo = {
    0x1CF2B120, 0x547D, 0x101B, {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}};
inline constexpr IID supportErrorInfo = {
    0xDF0B3D60, 0x548F, 0x101B, {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}};
inline constexpr IID connectionPointContainer = {
    0xB196B284, 0xBAB4, 0x101A, {0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D, 0x07}};
inline constexpr IID connectionPoint = {
    0xB196B286, 0xBAB4, 0x101A, {0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D, 0x07}};
}  // namespace identities

#ifndef _WIN32
inline constexpr IID IID_IUnknown = identities::unknown;
inline constexpr IID IID_IDispatch = identities::dispatch;
inline constexpr IID IID_IEnumVARIANT = identities::enumVariant;
inline constexpr IID IID_IClassFactory = identities::classFactory;
inline constexpr IID IID_IErrorInfo = identities::errorInfo;
inline constexpr IID IID_ISupportErrorInfo = identities::supportErrorInfo;
inline constexpr IID IID_IConnectionPointContainer = identities::connectionPointContainer;
inline constexpr IID IID_IConnectionPoint = identities::connectionPoint;
#endif

// The platform's units of text as those of C++, and back. They have the same size; under Windows they are
// another type, so that code which uses both is compiled without strict aliasing.
inline const char16_t* unitsOf(const OLECHAR* text) noexcept {
  return reinterpret_cast<const char16_t*>(text);
}
inline char16_t* unitsOf(OLECHAR* text) noexcept { return reinterpret_cast<char16_t*>(text); }
inline const OLECHAR* platformText(const char16_t* text) noexcept {
  return reinterpret_cast<const OLECHAR*>(text);
}
inline OLECHAR* platformText(char16_t* text) noexcept { return reinterpret_cast<OLECHAR*>(text); }

}  // namespace CorvaneQueue
