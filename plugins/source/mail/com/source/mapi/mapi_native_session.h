#pragma once

// The session and the address book, as mapix.h has them.

#include "mapi/mapi_native_objects.h"

struct IMsgServiceAdmin;
struct ADRPARM;

inline constexpr ULONG MAPI_LOGON_UI = 0x00000001;
inline constexpr ULONG MAPI_NEW_SESSION = 0x00000002;
inline constexpr ULONG MAPI_EXTENDED = 0x00000020;
inline constexpr ULONG MAPI_NO_MAIL = 0x00008000;
inline constexpr ULONG AB_NO_DIALOG = 0x00000001;
inline constexpr ULONG MAPI_INIT_VERSION = 0;
inline constexpr ULONG MAPI_MULTITHREAD_NOTIFICATIONS = 0x00000001;

struct MAPIINIT_0 {
    ULONG ulVersion;
    ULONG ulFlags;
};

using LPFNDISMISS = void(WINAPI*)(ULONG ulUIParam, LPVOID lpvContext);
using LPFNBUTTON = SCODE(WINAPI*)(ULONG ulUIParam, LPVOID lpvContext, ULONG cbEntryID,
                                  LPENTRYID lpSelection, ULONG ulFlags);

struct IAddrBook : IMAPIProp {
    virtual HRESULT STDMETHODCALLTYPE OpenEntry(ULONG cbEntryID, LPENTRYID lpEntryID,
                                                LPCIID lpInterface, ULONG ulFlags,
                                                ULONG* lpulObjType, LPUNKNOWN* lppUnk) = 0;
    virtual HRESULT STDMETHODCALLTYPE CompareEntryIDs(ULONG cbEntryID1, LPENTRYID lpEntryID1,
                                                      ULONG cbEntryID2, LPENTRYID lpEntryID2,
                                                      ULONG ulFlags, ULONG* lpulResult) = 0;
    virtual HRESULT STDMETHODCALLTYPE Advise(ULONG cbEntryID, LPENTRYID lpEntryID,
                                             ULONG ulEventMask, IMAPIAdviseSink* lpAdviseSink,
                                             ULONG* lpulConnection) = 0;
    virtual HRESULT STDMETHODCALLTYPE Unadvise(ULONG ulConnection) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateOneOff(LPTSTR lpszName, LPTSTR lpszAdrType,
                                                   LPTSTR lpszAddress, ULONG ulFlags,
                                                   ULONG* lpcbEntryID, LPENTRYID* lppEntryID) = 0;
    virtual HRESULT STDMETHODCALLTYPE NewEntry(ULONG_PTR ulUIParam, ULONG ulFlags,
                                               ULONG cbEIDContainer, LPENTRYID lpEIDContainer,
                                               ULONG cbEIDNewEntryTpl, LPENTRYID lpEIDNewEntryTpl,
                                               ULONG* lpcbEIDNewEntry,
                                               LPENTRYID* lppEIDNewEntry) = 0;
    virtual HRESULT STDMETHODCALLTYPE ResolveName(ULONG_PTR ulUIParam, ULONG ulFlags,
                                                  LPTSTR lpszNewEntryTitle,
                                                  LPADRLIST lpAdrList) = 0;
    virtual HRESULT STDMETHODCALLTYPE Address(ULONG_PTR* lpulUIParam, ADRPARM* lpAdrParms,
                                              LPADRLIST* lppAdrList) = 0;
    virtual HRESULT STDMETHODCALLTYPE Details(ULONG* lpulUIParam, LPFNDISMISS lpfnDismiss,
                                              LPVOID lpvDismissContext, ULONG cbEntryID,
                                              LPENTRYID lpEntryID, LPFNBUTTON lpfButtonCallback,
                                              LPVOID lpvButtonContext, LPTSTR lpszButtonText,
                                              ULONG ulFlags) = 0;
    virtual HRESULT STDMETHODCALLTYPE RecipOptions(ULONG_PTR ulUIParam, ULONG ulFlags,
                                                   LPADRENTRY lpRecip) = 0;
    virtual HRESULT STDMETHODCALLTYPE QueryDefaultRecipOpt(LPTSTR lpszAdrType, ULONG ulFlags,
                                                           ULONG* lpcValues,
                                                           LPSPropValue* lppOptions) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetPAB(ULONG* lpcbEntryID, LPENTRYID* lppEntryID) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetPAB(ULONG cbEntryID, LPENTRYID lpEntryID) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDefaultDir(ULONG* lpcbEntryID, LPENTRYID* lppEntryID) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetDefaultDir(ULONG cbEntryID, LPENTRYID lpEntryID) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSearchPath(ULONG ulFlags, LPSRowSet* lppSearchPath) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetSearchPath(ULONG ulFlags, LPSRowSet lpSearchPath) = 0;
    virtual HRESULT STDMETHODCALLTYPE PrepareRecips(ULONG ulFlags, LPSPropTagArray lpPropTagArray,
                                                    LPADRLIST lpRecipList) = 0;
};
using LPADRBOOK = IAddrBook*;

struct IMAPISession : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetLastError(HRESULT hResult, ULONG ulFlags,
                                                   LPMAPIERROR* lppMAPIError) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMsgStoresTable(ULONG ulFlags, LPMAPITABLE* lppTable) = 0;
    virtual HRESULT STDMETHODCALLTYPE OpenMsgStore(ULONG_PTR ulUIParam, ULONG cbEntryID,
                                                   LPENTRYID lpEntryID, LPCIID lpInterface,
                                                   ULONG ulFlags, LPMDB* lppMDB) = 0;
    virtual HRESULT STDMETHODCALLTYPE OpenAddressBook(ULONG_PTR ulUIParam, LPCIID lpInterface,
                                                      ULONG ulFlags, LPADRBOOK* lppAdrBook) = 0;
    virtual HRESULT STDMETHODCALLTYPE OpenProfileSection(LPMAPIUID lpUID, LPCIID lpInterface,
                                                         ULONG ulFlags,
                                                         LPPROFSECT* lppProfSect) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetStatusTable(ULONG ulFlags, LPMAPITABLE* lppTable) = 0;
    virtual HRESULT STDMETHODCALLTYPE OpenEntry(ULONG cbEntryID, LPENTRYID lpEntryID,
                                                LPCIID lpInterface, ULONG ulFlags,
                                                ULONG* lpulObjType, LPUNKNOWN* lppUnk) = 0;
    virtual HRESULT STDMETHODCALLTYPE CompareEntryIDs(ULONG cbEntryID1, LPENTRYID lpEntryID1,
                                                      ULONG cbEntryID2, LPENTRYID lpEntryID2,
                                                      ULONG ulFlags, ULONG* lpulResult) = 0;
    virtual HRESULT STDMETHODCALLTYPE Advise(ULONG cbEntryID, LPENTRYID lpEntryID,
                                             ULONG ulEventMask, IMAPIAdviseSink* lpAdviseSink,
                                             ULONG* lpulConnection) = 0;
    virtual HRESULT STDMETHODCALLTYPE Unadvise(ULONG ulConnection) = 0;
    virtual HRESULT STDMETHODCALLTYPE MessageOptions(ULONG_PTR ulUIParam, ULONG ulFlags,
                                                     LPTSTR lpszAdrType, LPMESSAGE lpMessage) = 0;
    virtual HRESULT STDMETHODCALLTYPE QueryDefaultMessageOpt(LPTSTR lpszAdrType, ULONG ulFlags,
                                                             ULONG* lpcValues,
                                                             LPSPropValue* lppOptions) = 0;
    virtual HRESULT STDMETHODCALLTYPE EnumAdrTypes(ULONG ulFlags, ULONG* lpcAdrTypes,
                                                   LPTSTR** lpppszAdrTypes) = 0;
    virtual HRESULT STDMETHODCALLTYPE QueryIdentity(ULONG* lpcbEntryID, LPENTRYID* lppEntryID) = 0;
    virtual HRESULT STDMETHODCALLTYPE Logoff(ULONG_PTR ulUIParam, ULONG ulFlags,
                                             ULONG ulReserved) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetDefaultStore(ULONG ulFlags, ULONG cbEntryID,
                                                      LPENTRYID lpEntryID) = 0;
    virtual HRESULT STDMETHODCALLTYPE AdminServices(ULONG ulFlags,
                                                    IMsgServiceAdmin** lppServiceAdmin) = 0;
    virtual HRESULT STDMETHODCALLTYPE ShowForm(ULONG_PTR ulUIParam, LPMDB lpMsgStore,
                                               IMAPIFolder* lpParentFolder, LPCIID lpInterface,
                                               ULONG ulMessageToken, LPMESSAGE lpMessageSent,
                                               ULONG ulFlags, ULONG ulMessageStatus,
                                               ULONG ulMessageFlags, ULONG ulAccess,
                                               LPSTR lpszMessageClass) = 0;
    virtual HRESULT STDMETHODCALLTYPE PrepareForm(LPCIID lpInterface, LPMESSAGE lpMessage,
                                                  ULONG* lpulMessageToken) = 0;
};
using LPMAPISESSION = IMAPISession*;
