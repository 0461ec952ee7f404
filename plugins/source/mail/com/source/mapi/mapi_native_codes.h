#pragma once

// Result codes, as winerror.h and mapicode.h have them.

#include "mapi/mapi_native_com.h"

constexpr bool SUCCEEDED(HRESULT code) noexcept { return code >= 0; }
constexpr bool FAILED(HRESULT code) noexcept { return code < 0; }

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;

inline constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001);
inline constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002);
inline constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003);
inline constexpr HRESULT E_ABORT = static_cast<HRESULT>(0x80004004);
inline constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005);
inline constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFF);
inline constexpr HRESULT E_ACCESSDENIED = static_cast<HRESULT>(0x80070005);
inline constexpr HRESULT E_HANDLE = static_cast<HRESULT>(0x80070006);
inline constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000E);
inline constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057);

inline constexpr HRESULT RPC_E_CHANGED_MODE = static_cast<HRESULT>(0x80010106);
inline constexpr HRESULT RPC_E_WRONG_THREAD = static_cast<HRESULT>(0x8001010E);

inline constexpr HRESULT STG_E_INVALIDFUNCTION = static_cast<HRESULT>(0x80030001);
inline constexpr HRESULT STG_E_FILENOTFOUND = static_cast<HRESULT>(0x80030002);
inline constexpr HRESULT STG_E_PATHNOTFOUND = static_cast<HRESULT>(0x80030003);
inline constexpr HRESULT STG_E_ACCESSDENIED = static_cast<HRESULT>(0x80030005);
inline constexpr HRESULT STG_E_INVALIDHANDLE = static_cast<HRESULT>(0x80030006);
inline constexpr HRESULT STG_E_INSUFFICIENTMEMORY = static_cast<HRESULT>(0x80030008);
inline constexpr HRESULT STG_E_INVALIDPOINTER = static_cast<HRESULT>(0x80030009);
inline constexpr HRESULT STG_E_NOMOREFILES = static_cast<HRESULT>(0x80030012);
inline constexpr HRESULT STG_E_SEEKERROR = static_cast<HRESULT>(0x80030019);
inline constexpr HRESULT STG_E_WRITEFAULT = static_cast<HRESULT>(0x8003001D);
inline constexpr HRESULT STG_E_READFAULT = static_cast<HRESULT>(0x8003001E);
inline constexpr HRESULT STG_E_LOCKVIOLATION = static_cast<HRESULT>(0x80030021);
inline constexpr HRESULT STG_E_FILEALREADYEXISTS = static_cast<HRESULT>(0x80030050);
inline constexpr HRESULT STG_E_INVALIDPARAMETER = static_cast<HRESULT>(0x80030057);
inline constexpr HRESULT STG_E_MEDIUMFULL = static_cast<HRESULT>(0x80030070);
inline constexpr HRESULT STG_E_INVALIDHEADER = static_cast<HRESULT>(0x800300FB);
inline constexpr HRESULT STG_E_INVALIDNAME = static_cast<HRESULT>(0x800300FC);
inline constexpr HRESULT STG_E_UNIMPLEMENTEDFUNCTION = static_cast<HRESULT>(0x800300FE);
inline constexpr HRESULT STG_E_INVALIDFLAG = static_cast<HRESULT>(0x800300FF);
inline constexpr HRESULT STG_E_REVERTED = static_cast<HRESULT>(0x80030102);
inline constexpr HRESULT STG_E_CANTSAVE = static_cast<HRESULT>(0x80030103);

// MAPI's failures and warnings have the interface facility.
constexpr SCODE MAKE_MAPI_E(ULONG code) noexcept { return static_cast<SCODE>(0x80040000u | code); }
constexpr SCODE MAKE_MAPI_S(ULONG code) noexcept { return static_cast<SCODE>(0x00040000u | code); }

inline constexpr HRESULT SUCCESS_SUCCESS = 0;
inline constexpr HRESULT MAPI_E_CALL_FAILED = E_FAIL;
inline constexpr HRESULT MAPI_E_NOT_ENOUGH_MEMORY = E_OUTOFMEMORY;
inline constexpr HRESULT MAPI_E_INVALID_PARAMETER = E_INVALIDARG;
inline constexpr HRESULT MAPI_E_INTERFACE_NOT_SUPPORTED = E_NOINTERFACE;
inline constexpr HRESULT MAPI_E_NO_ACCESS = E_ACCESSDENIED;
inline constexpr HRESULT MAPI_E_NO_SUPPORT = MAKE_MAPI_E(0x102);
inline constexpr HRESULT MAPI_E_BAD_CHARWIDTH = MAKE_MAPI_E(0x103);
inline constexpr HRESULT MAPI_E_STRING_TOO_LONG = MAKE_MAPI_E(0x105);
inline constexpr HRESULT MAPI_E_UNKNOWN_FLAGS = MAKE_MAPI_E(0x106);
inline constexpr HRESULT MAPI_E_INVALID_ENTRYID = MAKE_MAPI_E(0x107);
inline constexpr HRESULT MAPI_E_INVALID_OBJECT = MAKE_MAPI_E(0x108);
inline constexpr HRESULT MAPI_E_OBJECT_CHANGED = MAKE_MAPI_E(0x109);
inline constexpr HRESULT MAPI_E_OBJECT_DELETED = MAKE_MAPI_E(0x10A);
inline constexpr HRESULT MAPI_E_BUSY = MAKE_MAPI_E(0x10B);
inline constexpr HRESULT MAPI_E_NOT_ENOUGH_DISK = MAKE_MAPI_E(0x10D);
inline constexpr HRESULT MAPI_E_NOT_ENOUGH_RESOURCES = MAKE_MAPI_E(0x10E);
inline constexpr HRESULT MAPI_E_NOT_FOUND = MAKE_MAPI_E(0x10F);
inline constexpr HRESULT MAPI_E_VERSION = MAKE_MAPI_E(0x110);
inline constexpr HRESULT MAPI_E_LOGON_FAILED = MAKE_MAPI_E(0x111);
inline constexpr HRESULT MAPI_E_SESSION_LIMIT = MAKE_MAPI_E(0x112);
inline constexpr HRESULT MAPI_E_USER_CANCEL = MAKE_MAPI_E(0x113);
inline constexpr HRESULT MAPI_E_NETWORK_ERROR = MAKE_MAPI_E(0x115);
inline constexpr HRESULT MAPI_E_DISK_ERROR = MAKE_MAPI_E(0x116);
inline constexpr HRESULT MAPI_E_TOO_COMPLEX = MAKE_MAPI_E(0x117);
inline constexpr HRESULT MAPI_E_BAD_COLUMN = MAKE_MAPI_E(0x118);
inline constexpr HRESULT MAPI_E_COMPUTED = MAKE_MAPI_E(0x11A);
inline constexpr HRESULT MAPI_E_CORRUPT_DATA = MAKE_MAPI_E(0x11B);
inline constexpr HRESULT MAPI_E_END_OF_SESSION = MAKE_MAPI_E(0x200);
inline constexpr HRESULT MAPI_E_UNKNOWN_ENTRYID = MAKE_MAPI_E(0x201);
inline constexpr HRESULT MAPI_E_MISSING_REQUIRED_COLUMN = MAKE_MAPI_E(0x202);
inline constexpr HRESULT MAPI_W_NO_SERVICE = MAKE_MAPI_S(0x203);
inline constexpr HRESULT MAPI_E_BAD_VALUE = MAKE_MAPI_E(0x301);
inline constexpr HRESULT MAPI_E_INVALID_TYPE = MAKE_MAPI_E(0x302);
inline constexpr HRESULT MAPI_E_TYPE_NO_SUPPORT = MAKE_MAPI_E(0x303);
inline constexpr HRESULT MAPI_E_UNEXPECTED_TYPE = MAKE_MAPI_E(0x304);
inline constexpr HRESULT MAPI_E_TOO_BIG = MAKE_MAPI_E(0x305);
inline constexpr HRESULT MAPI_W_ERRORS_RETURNED = MAKE_MAPI_S(0x380);
inline constexpr HRESULT MAPI_E_UNABLE_TO_COMPLETE = MAKE_MAPI_E(0x400);
inline constexpr HRESULT MAPI_E_TIMEOUT = MAKE_MAPI_E(0x401);
inline constexpr HRESULT MAPI_E_TABLE_EMPTY = MAKE_MAPI_E(0x402);
inline constexpr HRESULT MAPI_E_TABLE_TOO_BIG = MAKE_MAPI_E(0x403);
inline constexpr HRESULT MAPI_E_INVALID_BOOKMARK = MAKE_MAPI_E(0x405);
inline constexpr HRESULT MAPI_W_POSITION_CHANGED = MAKE_MAPI_S(0x481);
inline constexpr HRESULT MAPI_W_APPROX_COUNT = MAKE_MAPI_S(0x482);
inline constexpr HRESULT MAPI_E_CANCEL = MAKE_MAPI_E(0x501);
inline constexpr HRESULT MAPI_E_CORRUPT_STORE = MAKE_MAPI_E(0x600);
inline constexpr HRESULT MAPI_E_COLLISION = MAKE_MAPI_E(0x604);
inline constexpr HRESULT MAPI_E_NOT_INITIALIZED = MAKE_MAPI_E(0x605);
inline constexpr HRESULT MAPI_E_NO_RECIPIENTS = MAKE_MAPI_E(0x607);
inline constexpr HRESULT MAPI_W_PARTIAL_COMPLETION = MAKE_MAPI_S(0x680);
inline constexpr HRESULT MAPI_E_AMBIGUOUS_RECIP = MAKE_MAPI_E(0x700);
