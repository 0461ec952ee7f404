#pragma once

// Basic types and IUnknown, as windef.h, guiddef.h and unknwn.h have them.

#include <cstddef>
#include <cstdint>
#include <cstring>

#define STDMETHODCALLTYPE
#define WINAPI

using BYTE = std::uint8_t;
using BOOL = std::int32_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using DWORD = std::uint32_t;
using UINT = std::uint32_t;
using LONGLONG = std::int64_t;
using ULONGLONG = std::uint64_t;
using ULONG_PTR = std::uintptr_t;
using HRESULT = std::int32_t;
using SCODE = std::int32_t;
using TCHAR = char;
using WCHAR = char16_t;
using OLECHAR = WCHAR;

using LPVOID = void*;
using LPBYTE = BYTE*;
using LPULONG = ULONG*;
using LPSTR = char*;
using LPCSTR = const char*;
using LPTSTR = TCHAR*;
using LPCTSTR = const TCHAR*;
using LPWSTR = WCHAR*;
using LPCWSTR = const WCHAR*;
using LPOLESTR = OLECHAR*;
using LPCOLESTR = const OLECHAR*;

using HWND = struct HWND__*;
using HMENU = struct HMENU__*;

inline constexpr BOOL FALSE = 0;
inline constexpr BOOL TRUE = 1;

struct GUID {
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t Data4[8];
};
using IID = GUID;
using CLSID = GUID;
using LPGUID = GUID*;
using LPCIID = const IID*;
using REFGUID = const GUID&;
using REFIID = const IID&;
using REFCLSID = const CLSID&;

inline bool IsEqualGUID(REFGUID a, REFGUID b) noexcept {
    return std::memcmp(&a, &b, sizeof(GUID)) == 0;
}
inline bool IsEqualIID(REFIID a, REFIID b) noexcept { return IsEqualGUID(a, b); }
inline bool operator==(REFGUID a, REFGUID b) noexcept { return IsEqualGUID(a, b); }

union LARGE_INTEGER {
    struct {
        DWORD LowPart;
        LONG HighPart;
    } u;
    LONGLONG QuadPart;
};

union ULARGE_INTEGER {
    struct {
        DWORD LowPart;
        DWORD HighPart;
    } u;
    ULONGLONG QuadPart;
};

struct FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};

union CY {
    LONGLONG int64;
};
using CURRENCY = CY;

struct IUnknown {
    virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppvObject) = 0;
    virtual ULONG STDMETHODCALLTYPE AddRef() = 0;
    virtual ULONG STDMETHODCALLTYPE Release() = 0;
};
using LPUNKNOWN = IUnknown*;
