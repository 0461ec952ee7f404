#pragma once

// Properties, rows, entry ids and errors, as mapidefs.h has them.

#include "mapi/mapi_native_base.h"

// The length that arrays at the end of a structure are declared with; they are allocated longer.
#define MAPI_DIM 1

inline constexpr ULONG MV_FLAG = 0x1000;
inline constexpr ULONG PT_UNSPECIFIED = 0;
inline constexpr ULONG PT_NULL = 1;
inline constexpr ULONG PT_I2 = 2;
inline constexpr ULONG PT_LONG = 3;
inline constexpr ULONG PT_R4 = 4;
inline constexpr ULONG PT_DOUBLE = 5;
inline constexpr ULONG PT_CURRENCY = 6;
inline constexpr ULONG PT_APPTIME = 7;
inline constexpr ULONG PT_ERROR = 10;
inline constexpr ULONG PT_BOOLEAN = 11;
inline constexpr ULONG PT_OBJECT = 13;
inline constexpr ULONG PT_I8 = 20;
inline constexpr ULONG PT_STRING8 = 30;
inline constexpr ULONG PT_UNICODE = 31;
inline constexpr ULONG PT_SYSTIME = 64;
inline constexpr ULONG PT_CLSID = 72;
inline constexpr ULONG PT_BINARY = 258;
inline constexpr ULONG PT_SHORT = PT_I2;
inline constexpr ULONG PT_I4 = PT_LONG;
inline constexpr ULONG PT_TSTRING = PT_STRING8;

inline constexpr ULONG PROP_TYPE_MASK = 0x0000FFFF;
constexpr ULONG PROP_TYPE(ULONG tag) noexcept { return tag & PROP_TYPE_MASK; }
constexpr ULONG PROP_ID(ULONG tag) noexcept { return tag >> 16; }
constexpr ULONG PROP_TAG(ULONG type, ULONG id) noexcept { return (id << 16) | type; }
constexpr ULONG CHANGE_PROP_TYPE(ULONG tag, ULONG type) noexcept {
    return (tag & 0xFFFF0000) | type;
}
inline constexpr ULONG PR_NULL = PROP_TAG(PT_NULL, 0);

inline constexpr ULONG MAPI_UNICODE = 0x80000000;

inline constexpr ULONG MAPI_TO = 1;
inline constexpr ULONG MAPI_CC = 2;
inline constexpr ULONG MAPI_BCC = 3;

struct ENTRYID {
    BYTE abFlags[4];
    BYTE ab[MAPI_DIM];
};
using LPENTRYID = ENTRYID*;

struct MAPIUID {
    BYTE ab[16];
};
using LPMAPIUID = MAPIUID*;

struct SPropTagArray {
    ULONG cValues;
    ULONG aulPropTag[MAPI_DIM];
};
using LPSPropTagArray = SPropTagArray*;

#define CbNewSPropTagArray(count) (offsetof(SPropTagArray, aulPropTag) + (count) * sizeof(ULONG))
#define SizedSPropTagArray(count, name) \
    struct _SPropTagArray_##name {      \
        ULONG cValues;                  \
        ULONG aulPropTag[count];        \
    } name

struct SBinary {
    ULONG cb;
    LPBYTE lpb;
};
using LPSBinary = SBinary*;

struct SBinaryArray {
    ULONG cValues;
    SBinary* lpbin;
};
using ENTRYLIST = SBinaryArray;
using LPENTRYLIST = ENTRYLIST*;

struct SLongArray {
    ULONG cValues;
    LONG* lpl;
};

struct SLPSTRArray {
    ULONG cValues;
    LPSTR* lppszA;
};

struct SWStringArray {
    ULONG cValues;
    LPWSTR* lppszW;
};

union __UPV {
    std::int16_t i;
    LONG l;
    ULONG ul;
    float flt;
    double dbl;
    std::uint16_t b;
    CURRENCY cur;
    double at;
    FILETIME ft;
    LPSTR lpszA;
    SBinary bin;
    LPWSTR lpszW;
    LPGUID lpguid;
    LARGE_INTEGER li;
    SLongArray MVl;
    SBinaryArray MVbin;
    SLPSTRArray MVszA;
    SWStringArray MVszW;
    SCODE err;
    LONG x;
};

struct SPropValue {
    ULONG ulPropTag;
    ULONG dwAlignPad;
    __UPV Value;
};
using LPSPropValue = SPropValue*;

struct SPropProblem {
    ULONG ulIndex;
    ULONG ulPropTag;
    SCODE scode;
};

struct SPropProblemArray {
    ULONG cProblem;
    SPropProblem aProblem[MAPI_DIM];
};
using LPSPropProblemArray = SPropProblemArray*;

struct ADRENTRY {
    ULONG ulReserved1;
    ULONG cValues;
    LPSPropValue rgPropVals;
};
using LPADRENTRY = ADRENTRY*;

struct ADRLIST {
    ULONG cEntries;
    ADRENTRY aEntries[MAPI_DIM];
};
using LPADRLIST = ADRLIST*;

struct SRow {
    ULONG ulAdrEntryPad;
    ULONG cValues;
    LPSPropValue lpProps;
};
using LPSRow = SRow*;

struct SRowSet {
    ULONG cRows;
    SRow aRow[MAPI_DIM];
};
using LPSRowSet = SRowSet*;

#define CbNewSRowSet(count) (offsetof(SRowSet, aRow) + (count) * sizeof(SRow))

struct MAPIERROR {
    ULONG ulVersion;
    LPTSTR lpszError;
    LPTSTR lpszComponent;
    ULONG ulLowLevelError;
    ULONG ulContext;
};
using LPMAPIERROR = MAPIERROR*;

struct MAPINAMEID {
    LPGUID lpguid;
    ULONG ulKind;
    union {
        LONG lID;
        LPWSTR lpwstrName;
    } Kind;
};
using LPMAPINAMEID = MAPINAMEID*;
