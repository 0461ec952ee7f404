#pragma once

// Basic types, IUnknown, streams and structured storage, as windef.h, guiddef.h, unknwn.h, objidl.h
// and objbase.h have them.

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

// The names in the header. NOLINTBEGIN(bugprone-reserved-identifier)
using HWND = struct HWND__*;
using HMENU = struct HMENU__*;
// NOLINTEND(bugprone-reserved-identifier)

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

inline constexpr DWORD STGM_READ = 0x00000000;
inline constexpr DWORD STGM_WRITE = 0x00000001;
inline constexpr DWORD STGM_READWRITE = 0x00000002;
inline constexpr DWORD STGM_SHARE_EXCLUSIVE = 0x00000010;
inline constexpr DWORD STGM_SHARE_DENY_WRITE = 0x00000020;
inline constexpr DWORD STGM_SHARE_DENY_READ = 0x00000030;
inline constexpr DWORD STGM_SHARE_DENY_NONE = 0x00000040;
inline constexpr DWORD STGM_CREATE = 0x00001000;
inline constexpr DWORD STGM_DIRECT = 0x00000000;
inline constexpr DWORD STGM_TRANSACTED = 0x00010000;
inline constexpr DWORD STGM_CONVERT = 0x00020000;
inline constexpr DWORD STGM_FAILIFTHERE = 0x00000000;
inline constexpr DWORD STGM_DELETEONRELEASE = 0x04000000;

enum tagSTGTY { STGTY_STORAGE = 1, STGTY_STREAM = 2, STGTY_LOCKBYTES = 3, STGTY_PROPERTY = 4 };
using STGTY = tagSTGTY;

enum tagSTREAM_SEEK { STREAM_SEEK_SET = 0, STREAM_SEEK_CUR = 1, STREAM_SEEK_END = 2 };
using STREAM_SEEK = tagSTREAM_SEEK;

enum tagSTATFLAG { STATFLAG_DEFAULT = 0, STATFLAG_NONAME = 1, STATFLAG_NOOPEN = 2 };
using STATFLAG = tagSTATFLAG;

enum tagSTGC { STGC_DEFAULT = 0, STGC_OVERWRITE = 1, STGC_ONLYIFCURRENT = 2 };
using STGC = tagSTGC;

using SNB = LPOLESTR*;

struct STATSTG {
    LPOLESTR pwcsName;
    DWORD type;
    ULARGE_INTEGER cbSize;
    FILETIME mtime;
    FILETIME ctime;
    FILETIME atime;
    DWORD grfMode;
    DWORD grfLocksSupported;
    CLSID clsid;
    DWORD grfStateBits;
    DWORD reserved;
};

struct ISequentialStream : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Read(void* pv, ULONG cb, ULONG* pcbRead) = 0;
    virtual HRESULT STDMETHODCALLTYPE Write(const void* pv, ULONG cb, ULONG* pcbWritten) = 0;
};

struct IStream : ISequentialStream {
    virtual HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER dlibMove, DWORD dwOrigin,
                                           ULARGE_INTEGER* plibNewPosition) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER libNewSize) = 0;
    virtual HRESULT STDMETHODCALLTYPE CopyTo(IStream* pstm, ULARGE_INTEGER cb,
                                             ULARGE_INTEGER* pcbRead,
                                             ULARGE_INTEGER* pcbWritten) = 0;
    virtual HRESULT STDMETHODCALLTYPE Commit(DWORD grfCommitFlags) = 0;
    virtual HRESULT STDMETHODCALLTYPE Revert() = 0;
    virtual HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER libOffset, ULARGE_INTEGER cb,
                                                 DWORD dwLockType) = 0;
    virtual HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER libOffset, ULARGE_INTEGER cb,
                                                   DWORD dwLockType) = 0;
    virtual HRESULT STDMETHODCALLTYPE Stat(STATSTG* pstatstg, DWORD grfStatFlag) = 0;
    virtual HRESULT STDMETHODCALLTYPE Clone(IStream** ppstm) = 0;
};
using LPSTREAM = IStream*;

struct ILockBytes : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE ReadAt(ULARGE_INTEGER ulOffset, void* pv, ULONG cb,
                                             ULONG* pcbRead) = 0;
    virtual HRESULT STDMETHODCALLTYPE WriteAt(ULARGE_INTEGER ulOffset, const void* pv, ULONG cb,
                                              ULONG* pcbWritten) = 0;
    virtual HRESULT STDMETHODCALLTYPE Flush() = 0;
    virtual HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER cb) = 0;
    virtual HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER libOffset, ULARGE_INTEGER cb,
                                                 DWORD dwLockType) = 0;
    virtual HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER libOffset, ULARGE_INTEGER cb,
                                                   DWORD dwLockType) = 0;
    virtual HRESULT STDMETHODCALLTYPE Stat(STATSTG* pstatstg, DWORD grfStatFlag) = 0;
};
using LPLOCKBYTES = ILockBytes*;

struct IEnumSTATSTG : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Next(ULONG celt, STATSTG* rgelt, ULONG* pceltFetched) = 0;
    virtual HRESULT STDMETHODCALLTYPE Skip(ULONG celt) = 0;
    virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
    virtual HRESULT STDMETHODCALLTYPE Clone(IEnumSTATSTG** ppenum) = 0;
};

struct IStorage : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE CreateStream(LPCOLESTR pwcsName, DWORD grfMode,
                                                   DWORD reserved1, DWORD reserved2,
                                                   IStream** ppstm) = 0;
    virtual HRESULT STDMETHODCALLTYPE OpenStream(LPCOLESTR pwcsName, void* reserved1, DWORD grfMode,
                                                 DWORD reserved2, IStream** ppstm) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateStorage(LPCOLESTR pwcsName, DWORD grfMode,
                                                    DWORD reserved1, DWORD reserved2,
                                                    IStorage** ppstg) = 0;
    virtual HRESULT STDMETHODCALLTYPE OpenStorage(LPCOLESTR pwcsName, IStorage* pstgPriority,
                                                  DWORD grfMode, SNB snbExclude, DWORD reserved,
                                                  IStorage** ppstg) = 0;
    virtual HRESULT STDMETHODCALLTYPE CopyTo(DWORD ciidExclude, const IID* rgiidExclude,
                                             SNB snbExclude, IStorage* pstgDest) = 0;
    virtual HRESULT STDMETHODCALLTYPE MoveElementTo(LPCOLESTR pwcsName, IStorage* pstgDest,
                                                    LPCOLESTR pwcsNewName, DWORD grfFlags) = 0;
    virtual HRESULT STDMETHODCALLTYPE Commit(DWORD grfCommitFlags) = 0;
    virtual HRESULT STDMETHODCALLTYPE Revert() = 0;
    virtual HRESULT STDMETHODCALLTYPE EnumElements(DWORD reserved1, void* reserved2,
                                                   DWORD reserved3, IEnumSTATSTG** ppenum) = 0;
    virtual HRESULT STDMETHODCALLTYPE DestroyElement(LPCOLESTR pwcsName) = 0;
    virtual HRESULT STDMETHODCALLTYPE RenameElement(LPCOLESTR pwcsOldName,
                                                    LPCOLESTR pwcsNewName) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetElementTimes(LPCOLESTR pwcsName, const FILETIME* pctime,
                                                      const FILETIME* patime,
                                                      const FILETIME* pmtime) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetClass(REFCLSID clsid) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetStateBits(DWORD grfStateBits, DWORD grfMask) = 0;
    virtual HRESULT STDMETHODCALLTYPE Stat(STATSTG* pstatstg, DWORD grfStatFlag) = 0;
};
using LPSTORAGE = IStorage*;
