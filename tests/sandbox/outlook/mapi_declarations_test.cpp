// The declarations of both builds are held against the same numbers: where they agree with the
// toolchain's here, the ones written for other systems do too.

#include <gtest/gtest.h>

#include <cstring>

#include "mapi/exchange_extension.h"
#include "mapi/interface_ids.h"
#include "mapi/mapi_functions.h"
#include "mapi/property_tags.h"

namespace {

constexpr bool Is(std::int64_t name, std::uint32_t value) {
    return static_cast<std::uint32_t>(name) == value;
}

static_assert(Is(E_NOINTERFACE, 0x80004002) && Is(E_UNEXPECTED, 0x8000FFFF) &&
              Is(E_OUTOFMEMORY, 0x8007000E) && Is(E_INVALIDARG, 0x80070057) &&
              Is(RPC_E_CHANGED_MODE, 0x80010106) && Is(RPC_E_WRONG_THREAD, 0x8001010E));
static_assert(Is(STG_E_INVALIDFUNCTION, 0x80030001) && Is(STG_E_FILENOTFOUND, 0x80030002) &&
              Is(STG_E_ACCESSDENIED, 0x80030005) && Is(STG_E_INVALIDPOINTER, 0x80030009) &&
              Is(STG_E_WRITEFAULT, 0x8003001D) && Is(STG_E_READFAULT, 0x8003001E) &&
              Is(STG_E_FILEALREADYEXISTS, 0x80030050) && Is(STG_E_MEDIUMFULL, 0x80030070) &&
              Is(STG_E_INVALIDHEADER, 0x800300FB) && Is(STG_E_REVERTED, 0x80030102));
static_assert(Is(MAPI_E_NO_SUPPORT, 0x80040102) && Is(MAPI_E_NOT_FOUND, 0x8004010F) &&
              Is(MAPI_E_COMPUTED, 0x8004011A) && Is(MAPI_E_UNEXPECTED_TYPE, 0x80040304) &&
              Is(MAPI_W_ERRORS_RETURNED, 0x00040380) && Is(MAPI_E_TABLE_TOO_BIG, 0x80040403) &&
              Is(MAPI_E_NOT_INITIALIZED, 0x80040605) && Is(MAPI_E_AMBIGUOUS_RECIP, 0x80040700));
static_assert(Is(STGM_WRITE, 1) && Is(STGM_READWRITE, 2) && Is(STGM_SHARE_EXCLUSIVE, 0x10) &&
              Is(STGM_CREATE, 0x1000) && Is(STATFLAG_NONAME, 1) && Is(STREAM_SEEK_END, 2) &&
              Is(STGTY_STREAM, 2));
static_assert(Is(PT_CURRENCY, 6) && Is(PT_ERROR, 10) && Is(PT_BOOLEAN, 11) && Is(PT_OBJECT, 13) &&
              Is(PT_STRING8, 0x1E) && Is(PT_UNICODE, 0x1F) && Is(PT_SYSTIME, 0x40) &&
              Is(PT_BINARY, 0x102) && Is(PT_TSTRING, 0x1E));
static_assert(PROP_TAG(PT_UNICODE, 0x37) == plugins::mapi::tag::kSubjectW &&
              CHANGE_PROP_TYPE(plugins::mapi::tag::kSubjectW, PT_STRING8) ==
                  plugins::mapi::tag::kSubjectA &&
              PROP_ID(plugins::mapi::tag::kAttachDataObj) == 0x3701);
static_assert(Is(MAPI_MODIFY, 1) && Is(MAPI_CREATE, 2) && Is(MAPI_BEST_ACCESS, 0x10) &&
              Is(MAPI_UNICODE, 0x80000000) && Is(MAPI_EXTENDED, 0x20) && Is(FORCE_SAVE, 4) &&
              Is(KEEP_OPEN_READWRITE, 2) && Is(KEEP_OPEN_READONLY, 1) && Is(ATTACH_OLE, 6) &&
              Is(ATTACH_EMBEDDED_MSG, 5) && Is(MAPI_MAILUSER, 6) && Is(MAPI_MESSAGE, 5) &&
              Is(RES_PROPERTY, 4) && Is(RELOP_EQ, 4) && Is(BOOKMARK_END, 2) && Is(MAPI_CC, 2));

static_assert(sizeof(SPropValue) == 24 && offsetof(SPropValue, Value) == 8);
static_assert(sizeof(SRow) == 16 && offsetof(SRowSet, aRow) == 8 && sizeof(ADRENTRY) == 16);
static_assert(sizeof(SRestriction) == 32 && offsetof(SPropertyRestriction, lpProp) == 8);
static_assert(sizeof(SPropProblem) == 12 && offsetof(ENTRYID, ab) == 4);
static_assert(sizeof(STATSTG) == 80 && offsetof(STATSTG, cbSize) == 16 &&
              offsetof(STATSTG, clsid) == 56);
static_assert(sizeof(MAPIERROR) == 32 && sizeof(LARGE_INTEGER) == 8 && sizeof(GUID) == 16);

// The place of a method in its table: what a pointer to a virtual member holds on both targets.
template <class Method>
std::size_t Slot(Method method) {
    std::size_t offset = 0;
    std::memcpy(&offset, &method, sizeof offset);
    return (offset - 1) / sizeof(void*);
}

TEST(MapiDeclarations, MethodsHaveTheirPlaces) {
    struct {
        const char* name;
        std::size_t slot;
        std::size_t expected;
    } const methods[] = {
        {"IUnknown::Release", Slot(&IUnknown::Release), 2},
        {"IStream::Write", Slot(&IStream::Write), 4},
        {"IStream::Seek", Slot(&IStream::Seek), 5},
        {"IStream::CopyTo", Slot(&IStream::CopyTo), 7},
        {"IStream::Clone", Slot(&IStream::Clone), 13},
        {"ILockBytes::Stat", Slot(&ILockBytes::Stat), 9},
        {"IStorage::CopyTo", Slot(&IStorage::CopyTo), 7},
        {"IStorage::Stat", Slot(&IStorage::Stat), 17},
        {"IEnumSTATSTG::Clone", Slot(&IEnumSTATSTG::Clone), 6},
        {"IMAPIProp::SaveChanges", Slot(&IMAPIProp::SaveChanges), 4},
        {"IMAPIProp::OpenProperty", Slot(&IMAPIProp::OpenProperty), 7},
        {"IMAPIProp::GetIDsFromNames", Slot(&IMAPIProp::GetIDsFromNames), 13},
        {"IMessage::GetAttachmentTable", Slot(&IMessage::GetAttachmentTable), 14},
        {"IMessage::SetReadFlag", Slot(&IMessage::SetReadFlag), 21},
        {"IMAPITable::QueryRows", Slot(&IMAPITable::QueryRows), 19},
        {"IMAPITable::SetCollapseState", Slot(&IMAPITable::SetCollapseState), 25},
        {"IMAPIContainer::OpenEntry", Slot(&IMAPIContainer::OpenEntry), 16},
        {"IMsgStore::OpenEntry", Slot(&IMsgStore::OpenEntry), 17},
        {"IMsgStore::NotifyNewMail", Slot(&IMsgStore::NotifyNewMail), 26},
        {"IAddrBook::OpenEntry", Slot(&IAddrBook::OpenEntry), 14},
        {"IAddrBook::PrepareRecips", Slot(&IAddrBook::PrepareRecips), 31},
        {"IMAPISession::OpenAddressBook", Slot(&IMAPISession::OpenAddressBook), 6},
        {"IMAPISession::OpenEntry", Slot(&IMAPISession::OpenEntry), 9},
        {"IMAPISession::Logoff", Slot(&IMAPISession::Logoff), 17},
        {"IMAPISession::PrepareForm", Slot(&IMAPISession::PrepareForm), 21},
        {"IExchExtCallback::GetObject", Slot(&plugins::mapi::IExchExtCallback::GetObject), 8},
    };
    for (const auto& method : methods) EXPECT_EQ(method.slot, method.expected) << method.name;
}

}  // namespace
