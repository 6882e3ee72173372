// The platform's automation types, interfaces and functions. Off Windows the interfaces have the platform's
// slot order, and the library supplies the functions.
#pragma once

#include <CorvaneQueue/automationTypes.h>

#ifndef _WIN32

namespace CorvaneQueue {

struct IUnknown {
  virtual HRESULT CORVANE_CALL QueryInterface(REFIID iid, void** object) noexcept = 0;
  virtual ULONG CORVANE_CALL AddRef() noexcept = 0;
  virtual ULONG CORVANE_CALL Release() noexcept = 0;
};
struct IDispatch : IUnknown {
  virtual HRESULT CORVANE_CALL GetTypeInfoCount(UINT* count) noexcept = 0;
  virtual HRESULT CORVANE_CALL GetTypeInfo(UINT index, LCID locale, ITypeInfo** info) noexcept = 0;
  virtual HRESULT CORVANE_CALL GetIDsOfNames(REFIID reserved, LPOLESTR* names, UINT count, LCID locale,
                                             DISPID* ids) noexcept = 0;
  virtual HRESULT CORVANE_CALL Invoke(DISPID id, REFIID reserved, LCID locale, WORD flags,
                                      DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                                      UINT* argumentInError) noexcept = 0;
};
struct IEnumVARIANT : IUnknown {
  virtual HRESULT CORVANE_CALL Next(ULONG count, VARIANT* elements, ULONG* fetched) noexcept = 0;
  virtual HRESULT CORVANE_CALL Skip(ULONG count) noexcept = 0;
  virtual HRESULT CORVANE_CALL Reset() noexcept = 0;
  virtual HRESULT CORVANE_CALL Clone(IEnumVARIANT** copy) noexcept = 0;
};
struct IErrorInfo : IUnknown {
  virtual HRESULT CORVANE_CALL GetGUID(GUID* guid) noexcept = 0;
  virtual HRESULT CORVANE_CALL GetSource(BSTR* source) noexcept = 0;
  virtual HRESULT CORVANE_CALL GetDescription(BSTR* description) noexcept = 0;
  virtual HRESULT CORVANE_CALL GetHelpFile(BSTR* file) noexcept = 0;
  virtual HRESULT CORVANE_CALL GetHelpContext(DWORD* context) noexcept = 0;
};
struct ISupportErrorInfo : IUnknown {
  virtual HRESULT CORVANE_CALL InterfaceSupportsErrorInfo(REFIID iid) noexcept = 0;
};
struct IClassFactory : IUnknown {
  virtual HRESULT CORVANE_CALL CreateInstance(IUnknown* outer, REFIID iid, void** object) noexcept = 0;
  virtual HRESULT CORVANE_CALL LockServer(BOOL lock) noexcept = 0;
};
struct IConnectionPointContainer;
struct IEnumConnections : IUnknown {};  // not offered
struct IEnumConnectionPoints : IUnknown {};
struct IConnectionPoint : IUnknown {
  virtual HRESULT CORVANE_CALL GetConnectionInterface(IID* iid) noexcept = 0;
  virtual HRESULT CORVANE_CALL
  GetConnectionPointContainer(IConnectionPointContainer** container) noexcept = 0;
  virtual HRESULT CORVANE_CALL Advise(IUnknown* sink, DWORD* cookie) noexcept = 0;
  virtual HRESULT CORVANE_CALL Unadvise(DWORD cookie) noexcept = 0;
  virtual HRESULT CORVANE_CALL EnumConnections(IEnumConnections** connections) noexcept = 0;
};
struct IConnectionPointContainer : IUnknown {
  virtual HRESULT CORVANE_CALL EnumConnectionPoints(IEnumConnectionPoints** points) noexcept = 0;
  virtual HRESULT CORVANE_CALL FindConnectionPoint(REFIID iid, IConnectionPoint** point) noexcept = 0;
};

extern "C" {
// Strings: counted 16-bit characters, byte length before the first one, a zero behind the last.
CORVANE_API BSTR SysAllocString(const OLECHAR* text) noexcept;
CORVANE_API BSTR SysAllocStringLen(const OLECHAR* text, UINT length) noexcept;
CORVANE_API BSTR SysAllocStringByteLen(const char* bytes, UINT length) noexcept;
CORVANE_API void SysFreeString(BSTR text) noexcept;
CORVANE_API UINT SysStringLen(BSTR text) noexcept;
CORVANE_API UINT SysStringByteLen(BSTR text) noexcept;

// Variants.
CORVANE_API void VariantInit(VARIANTARG* variant) noexcept;
CORVANE_API HRESULT VariantClear(VARIANTARG* variant) noexcept;
CORVANE_API HRESULT VariantCopy(VARIANTARG* target, const VARIANTARG* source) noexcept;
CORVANE_API HRESULT VariantCopyInd(VARIANT* target, const VARIANTARG* source) noexcept;
CORVANE_API HRESULT VariantChangeType(VARIANTARG* target, const VARIANTARG* source, USHORT flags,
                                      VARTYPE type) noexcept;

// One-dimensional arrays.
CORVANE_API SAFEARRAY* SafeArrayCreateVector(VARTYPE type, LONG lowerBound, ULONG count) noexcept;
CORVANE_API HRESULT SafeArrayDestroy(SAFEARRAY* array) noexcept;
CORVANE_API HRESULT SafeArrayCopy(SAFEARRAY* array, SAFEARRAY** copy) noexcept;
CORVANE_API HRESULT SafeArrayGetUBound(SAFEARRAY* array, UINT dimension, LONG* bound) noexcept;
CORVANE_API HRESULT SafeArrayGetLBound(SAFEARRAY* array, UINT dimension, LONG* bound) noexcept;

// The calling thread's error information.
CORVANE_API HRESULT SetErrorInfo(ULONG reserved, IErrorInfo* information) noexcept;
CORVANE_API HRESULT GetErrorInfo(ULONG reserved, IErrorInfo** information) noexcept;

// Creation by class identity and by registered name.
CORVANE_API HRESULT CLSIDFromProgID(LPCOLESTR name, CLSID* identity) noexcept;
CORVANE_API HRESULT CoCreateInstance(REFCLSID identity, IUnknown* outer, DWORD context, REFIID iid,
                                     void** object) noexcept;
}
inline constexpr DWORD CLSCTX_INPROC_SERVER = 1;

}  // namespace CorvaneQueue

#endif

namespace CorvaneQueue {

#ifdef _WIN32
// The platform only reads what is copied.
inline HRESULT VariantCopy(VARIANTARG* target, const VARIANTARG* source) noexcept {
  return ::VariantCopy(target, const_cast<VARIANTARG*>(source));
}
inline HRESULT VariantCopyInd(VARIANTARG* target, const VARIANTARG* source) noexcept {
  return ::VariantCopyInd(target, const_cast<VARIANTARG*>(source));
}
#endif

// The value as another type, as everywhere: by the rules of one locale, whatever users prefer.
inline HRESULT changeType(VARIANTARG* target, const VARIANTARG* source, USHORT flags, VARTYPE type) noexcept {
#ifdef _WIN32
  constexpr LCID locale = 0x0409;
  return VariantChangeTypeEx(target, const_cast<VARIANTARG*>(source), locale,
                             static_cast<USHORT>(flags | VARIANT_NOUSEROVERRIDE), type);
#else
  return VariantChangeType(target, source, flags, type);
#endif
}

}  // namespace CorvaneQueue
