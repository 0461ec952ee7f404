#pragma once

// Properties, entry ids and errors, rows and the tables that have them, as mapidefs.h has them.

#include "mapi/mapi_native_com.h"

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

// The name in the header. NOLINTNEXTLINE(bugprone-reserved-identifier)
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

struct IMAPIAdviseSink;

using BOOKMARK = ULONG;
inline constexpr BOOKMARK BOOKMARK_BEGINNING = 0;
inline constexpr BOOKMARK BOOKMARK_CURRENT = 1;
inline constexpr BOOKMARK BOOKMARK_END = 2;

inline constexpr ULONG TBLSTAT_COMPLETE = 0;
inline constexpr ULONG TBLTYPE_SNAPSHOT = 0;
inline constexpr ULONG TBLTYPE_DYNAMIC = 2;
inline constexpr ULONG TBL_ALL_COLUMNS = 1;
inline constexpr ULONG TBL_NOWAIT = 1;
inline constexpr ULONG TBL_BATCH = 2;
inline constexpr ULONG TBL_NOADVANCE = 1;
inline constexpr ULONG DIR_BACKWARD = 1;

struct SSortOrder {
    ULONG ulPropTag;
    ULONG ulOrder;
};

struct SSortOrderSet {
    ULONG cSorts;
    ULONG cCategories;
    ULONG cExpanded;
    SSortOrder aSort[MAPI_DIM];
};
using LPSSortOrderSet = SSortOrderSet*;

inline constexpr ULONG RES_AND = 0;
inline constexpr ULONG RES_OR = 1;
inline constexpr ULONG RES_NOT = 2;
inline constexpr ULONG RES_CONTENT = 3;
inline constexpr ULONG RES_PROPERTY = 4;
inline constexpr ULONG RES_EXIST = 8;
inline constexpr ULONG RES_COMMENT = 10;

inline constexpr ULONG RELOP_LT = 0;
inline constexpr ULONG RELOP_LE = 1;
inline constexpr ULONG RELOP_GT = 2;
inline constexpr ULONG RELOP_GE = 3;
inline constexpr ULONG RELOP_EQ = 4;
inline constexpr ULONG RELOP_NE = 5;

struct SRestriction;
using LPSRestriction = SRestriction*;

struct SAndRestriction {
    ULONG cRes;
    LPSRestriction lpRes;
};

struct SOrRestriction {
    ULONG cRes;
    LPSRestriction lpRes;
};

struct SNotRestriction {
    ULONG ulReserved;
    LPSRestriction lpRes;
};

struct SContentRestriction {
    ULONG ulFuzzyLevel;
    ULONG ulPropTag;
    LPSPropValue lpProp;
};

struct SPropertyRestriction {
    ULONG relop;
    ULONG ulPropTag;
    LPSPropValue lpProp;
};

struct SExistRestriction {
    ULONG ulReserved1;
    ULONG ulPropTag;
    ULONG ulReserved2;
};

struct SCommentRestriction {
    ULONG cValues;
    LPSRestriction lpRes;
    LPSPropValue lpProp;
};

struct SRestriction {
    ULONG rt;
    union {
        SAndRestriction resAnd;
        SOrRestriction resOr;
        SNotRestriction resNot;
        SContentRestriction resContent;
        SPropertyRestriction resProperty;
        SExistRestriction resExist;
        SCommentRestriction resComment;
    } res;
};

struct IMAPITable : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetLastError(HRESULT hResult, ULONG ulFlags,
                                                   LPMAPIERROR* lppMAPIError) = 0;
    virtual HRESULT STDMETHODCALLTYPE Advise(ULONG ulEventMask, IMAPIAdviseSink* lpAdviseSink,
                                             ULONG* lpulConnection) = 0;
    virtual HRESULT STDMETHODCALLTYPE Unadvise(ULONG ulConnection) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetStatus(ULONG* lpulTableStatus, ULONG* lpulTableType) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetColumns(LPSPropTagArray lpPropTagArray, ULONG ulFlags) = 0;
    virtual HRESULT STDMETHODCALLTYPE QueryColumns(ULONG ulFlags,
                                                   LPSPropTagArray* lpPropTagArray) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetRowCount(ULONG ulFlags, ULONG* lpulCount) = 0;
    virtual HRESULT STDMETHODCALLTYPE SeekRow(BOOKMARK bkOrigin, LONG lRowCount,
                                              LONG* lplRowsSought) = 0;
    virtual HRESULT STDMETHODCALLTYPE SeekRowApprox(ULONG ulNumerator, ULONG ulDenominator) = 0;
    virtual HRESULT STDMETHODCALLTYPE QueryPosition(ULONG* lpulRow, ULONG* lpulNumerator,
                                                    ULONG* lpulDenominator) = 0;
    virtual HRESULT STDMETHODCALLTYPE FindRow(LPSRestriction lpRestriction, BOOKMARK bkOrigin,
                                              ULONG ulFlags) = 0;
    virtual HRESULT STDMETHODCALLTYPE Restrict(LPSRestriction lpRestriction, ULONG ulFlags) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateBookmark(BOOKMARK* lpbkPosition) = 0;
    virtual HRESULT STDMETHODCALLTYPE FreeBookmark(BOOKMARK bkPosition) = 0;
    virtual HRESULT STDMETHODCALLTYPE SortTable(LPSSortOrderSet lpSortCriteria, ULONG ulFlags) = 0;
    virtual HRESULT STDMETHODCALLTYPE QuerySortOrder(LPSSortOrderSet* lppSortCriteria) = 0;
    virtual HRESULT STDMETHODCALLTYPE QueryRows(LONG lRowCount, ULONG ulFlags,
                                                LPSRowSet* lppRows) = 0;
    virtual HRESULT STDMETHODCALLTYPE Abort() = 0;
    virtual HRESULT STDMETHODCALLTYPE ExpandRow(ULONG cbInstanceKey, LPBYTE pbInstanceKey,
                                                ULONG ulRowCount, ULONG ulFlags, LPSRowSet* lppRows,
                                                ULONG* lpulMoreRows) = 0;
    virtual HRESULT STDMETHODCALLTYPE CollapseRow(ULONG cbInstanceKey, LPBYTE pbInstanceKey,
                                                  ULONG ulFlags, ULONG* lpulRowCount) = 0;
    virtual HRESULT STDMETHODCALLTYPE WaitForCompletion(ULONG ulFlags, ULONG ulTimeout,
                                                        ULONG* lpulTableStatus) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCollapseState(ULONG ulFlags, ULONG cbInstanceKey,
                                                       LPBYTE lpbInstanceKey,
                                                       ULONG* lpcbCollapseState,
                                                       LPBYTE* lppbCollapseState) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetCollapseState(ULONG ulFlags, ULONG cbCollapseState,
                                                       LPBYTE pbCollapseState,
                                                       BOOKMARK* lpbkLocation) = 0;
};
using LPMAPITABLE = IMAPITable*;
