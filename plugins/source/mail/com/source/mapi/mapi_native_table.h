#pragma once

// Tables, restrictions and sort orders, as mapidefs.h has them.

#include "mapi/mapi_native_properties.h"

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
