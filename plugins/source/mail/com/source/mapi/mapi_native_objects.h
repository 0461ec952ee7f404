#pragma once

// Objects that have properties - messages, attachments, address book entries, containers, stores -
// and the session that opens them, as mapidefs.h and mapix.h have them.

#include "mapi/mapi_native_properties.h"

struct IMAPIProgress;
struct IMAPIFolder;
struct NOTIFICATION;

inline constexpr ULONG MAPI_MODIFY = 0x00000001;
inline constexpr ULONG MAPI_CREATE = 0x00000002;
inline constexpr ULONG MAPI_DEFERRED_ERRORS = 0x00000008;
inline constexpr ULONG MAPI_BEST_ACCESS = 0x00000010;
inline constexpr ULONG MAPI_ASSOCIATED = 0x00000040;

inline constexpr ULONG KEEP_OPEN_READONLY = 0x00000001;
inline constexpr ULONG KEEP_OPEN_READWRITE = 0x00000002;
inline constexpr ULONG FORCE_SAVE = 0x00000004;

inline constexpr ULONG MAPI_STORE = 1;
inline constexpr ULONG MAPI_ADDRBOOK = 2;
inline constexpr ULONG MAPI_FOLDER = 3;
inline constexpr ULONG MAPI_ABCONT = 4;
inline constexpr ULONG MAPI_MESSAGE = 5;
inline constexpr ULONG MAPI_MAILUSER = 6;
inline constexpr ULONG MAPI_ATTACH = 7;

inline constexpr ULONG NO_ATTACHMENT = 0;
inline constexpr ULONG ATTACH_BY_VALUE = 1;
inline constexpr ULONG ATTACH_BY_REFERENCE = 2;
inline constexpr ULONG ATTACH_BY_REF_RESOLVE = 3;
inline constexpr ULONG ATTACH_BY_REF_ONLY = 4;
inline constexpr ULONG ATTACH_EMBEDDED_MSG = 5;
inline constexpr ULONG ATTACH_OLE = 6;

struct IMAPIProp : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetLastError(HRESULT hResult, ULONG ulFlags,
                                                   LPMAPIERROR* lppMAPIError) = 0;
    virtual HRESULT STDMETHODCALLTYPE SaveChanges(ULONG ulFlags) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetProps(LPSPropTagArray lpPropTagArray, ULONG ulFlags,
                                               ULONG* lpcValues, LPSPropValue* lppPropArray) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetPropList(ULONG ulFlags,
                                                  LPSPropTagArray* lppPropTagArray) = 0;
    virtual HRESULT STDMETHODCALLTYPE OpenProperty(ULONG ulPropTag, LPCIID lpiid,
                                                   ULONG ulInterfaceOptions, ULONG ulFlags,
                                                   LPUNKNOWN* lppUnk) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetProps(ULONG cValues, LPSPropValue lpPropArray,
                                               LPSPropProblemArray* lppProblems) = 0;
    virtual HRESULT STDMETHODCALLTYPE DeleteProps(LPSPropTagArray lpPropTagArray,
                                                  LPSPropProblemArray* lppProblems) = 0;
    virtual HRESULT STDMETHODCALLTYPE CopyTo(ULONG ciidExclude, LPCIID rgiidExclude,
                                             LPSPropTagArray lpExcludeProps, ULONG ulUIParam,
                                             IMAPIProgress* lpProgress, LPCIID lpInterface,
                                             LPVOID lpDestObj, ULONG ulFlags,
                                             LPSPropProblemArray* lppProblems) = 0;
    virtual HRESULT STDMETHODCALLTYPE CopyProps(LPSPropTagArray lpIncludeProps, ULONG ulUIParam,
                                                IMAPIProgress* lpProgress, LPCIID lpInterface,
                                                LPVOID lpDestObj, ULONG ulFlags,
                                                LPSPropProblemArray* lppProblems) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetNamesFromIDs(LPSPropTagArray* lppPropTags,
                                                      LPGUID lpPropSetGuid, ULONG ulFlags,
                                                      ULONG* lpcPropNames,
                                                      LPMAPINAMEID** lpppPropNames) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetIDsFromNames(ULONG cPropNames, LPMAPINAMEID* lppPropNames,
                                                      ULONG ulFlags,
                                                      LPSPropTagArray* lppPropTags) = 0;
};
using LPMAPIPROP = IMAPIProp*;

struct IAttach : IMAPIProp {};
using LPATTACH = IAttach*;

struct IMailUser : IMAPIProp {};
using LPMAILUSER = IMailUser*;

struct IProfSect : IMAPIProp {};
using LPPROFSECT = IProfSect*;

struct IMessage : IMAPIProp {
    virtual HRESULT STDMETHODCALLTYPE GetAttachmentTable(ULONG ulFlags, LPMAPITABLE* lppTable) = 0;
    virtual HRESULT STDMETHODCALLTYPE OpenAttach(ULONG ulAttachmentNum, LPCIID lpInterface,
                                                 ULONG ulFlags, LPATTACH* lppAttach) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateAttach(LPCIID lpInterface, ULONG ulFlags,
                                                   ULONG* lpulAttachmentNum,
                                                   LPATTACH* lppAttach) = 0;
    virtual HRESULT STDMETHODCALLTYPE DeleteAttach(ULONG ulAttachmentNum, ULONG ulUIParam,
                                                   IMAPIProgress* lpProgress, ULONG ulFlags) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetRecipientTable(ULONG ulFlags, LPMAPITABLE* lppTable) = 0;
    virtual HRESULT STDMETHODCALLTYPE ModifyRecipients(ULONG ulFlags, LPADRLIST lpMods) = 0;
    virtual HRESULT STDMETHODCALLTYPE SubmitMessage(ULONG ulFlags) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetReadFlag(ULONG ulFlags) = 0;
};
using LPMESSAGE = IMessage*;

struct IMAPIContainer : IMAPIProp {
    virtual HRESULT STDMETHODCALLTYPE GetContentsTable(ULONG ulFlags, LPMAPITABLE* lppTable) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetHierarchyTable(ULONG ulFlags, LPMAPITABLE* lppTable) = 0;
    virtual HRESULT STDMETHODCALLTYPE OpenEntry(ULONG cbEntryID, LPENTRYID lpEntryID,
                                                LPCIID lpInterface, ULONG ulFlags,
                                                ULONG* lpulObjType, LPUNKNOWN* lppUnk) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetSearchCriteria(LPSRestriction lpRestriction,
                                                        LPENTRYLIST lpContainerList,
                                                        ULONG ulSearchFlags) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSearchCriteria(ULONG ulFlags,
                                                        LPSRestriction* lppRestriction,
                                                        LPENTRYLIST* lppContainerList,
                                                        ULONG* lpulSearchState) = 0;
};

struct IMsgStore : IMAPIProp {
    virtual HRESULT STDMETHODCALLTYPE Advise(ULONG cbEntryID, LPENTRYID lpEntryID,
                                             ULONG ulEventMask, IMAPIAdviseSink* lpAdviseSink,
                                             ULONG* lpulConnection) = 0;
    virtual HRESULT STDMETHODCALLTYPE Unadvise(ULONG ulConnection) = 0;
    virtual HRESULT STDMETHODCALLTYPE CompareEntryIDs(ULONG cbEntryID1, LPENTRYID lpEntryID1,
                                                      ULONG cbEntryID2, LPENTRYID lpEntryID2,
                                                      ULONG ulFlags, ULONG* lpulResult) = 0;
    virtual HRESULT STDMETHODCALLTYPE OpenEntry(ULONG cbEntryID, LPENTRYID lpEntryID,
                                                LPCIID lpInterface, ULONG ulFlags,
                                                ULONG* lpulObjType, LPUNKNOWN* lppUnk) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetReceiveFolder(LPTSTR lpszMessageClass, ULONG ulFlags,
                                                       ULONG cbEntryID, LPENTRYID lpEntryID) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetReceiveFolder(LPTSTR lpszMessageClass, ULONG ulFlags,
                                                       ULONG* lpcbEntryID, LPENTRYID* lppEntryID,
                                                       LPTSTR* lppszExplicitClass) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetReceiveFolderTable(ULONG ulFlags,
                                                            LPMAPITABLE* lppTable) = 0;
    virtual HRESULT STDMETHODCALLTYPE StoreLogoff(ULONG* lpulFlags) = 0;
    virtual HRESULT STDMETHODCALLTYPE AbortSubmit(ULONG cbEntryID, LPENTRYID lpEntryID,
                                                  ULONG ulFlags) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetOutgoingQueue(ULONG ulFlags, LPMAPITABLE* lppTable) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetLockState(LPMESSAGE lpMessage, ULONG ulLockState) = 0;
    virtual HRESULT STDMETHODCALLTYPE FinishedMsg(ULONG ulFlags, ULONG cbEntryID,
                                                  LPENTRYID lpEntryID) = 0;
    virtual HRESULT STDMETHODCALLTYPE NotifyNewMail(NOTIFICATION* lpNotification) = 0;
};
using LPMDB = IMsgStore*;

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
