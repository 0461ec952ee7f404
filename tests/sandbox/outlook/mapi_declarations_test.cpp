// Both builds hold their declarations against the same numbers: as the toolchain's agree with them
// on Windows, the ones written for other systems are right.

#include <gtest/gtest.h>

#include <cstring>

#include "mapi/exchange_extension.h"
#include "mapi/mapi_interfaces.h"

namespace {

constexpr bool Is(std::int64_t name, std::uint32_t value) {
    return static_cast<std::uint32_t>(name) == value;
}
static_assert(Is(E_NOINTERFACE, 0x80004002) && Is(E_OUTOFMEMORY, 0x8007000E) &&
              Is(E_INVALIDARG, 0x80070057) && Is(STG_E_ACCESSDENIED, 0x80030005) &&
              Is(STG_E_MEDIUMFULL, 0x80030070) && Is(MAPI_E_NOT_FOUND, 0x8004010F) &&
              Is(MAPI_E_NO_ACCESS, 0x80070005) && Is(MAPI_E_COMPUTED, 0x8004011A) &&
              Is(MAPI_W_ERRORS_RETURNED, 0x00040380) && Is(MAPI_E_NOT_INITIALIZED, 0x80040605) &&
              Is(STGM_WRITE, 0x1) && Is(STGM_READWRITE, 0x2) && Is(STGM_SHARE_EXCLUSIVE, 0x10) &&
              Is(STGM_CREATE, 0x1000) && Is(STATFLAG_NONAME, 0x1) && Is(STREAM_SEEK_END, 0x2) &&
              Is(PT_CURRENCY, 0x6) && Is(PT_ERROR, 0xA) && Is(PT_BOOLEAN, 0xB) &&
              Is(PT_STRING8, 0x1E) && Is(PT_UNICODE, 0x1F) && Is(PT_SYSTIME, 0x40) &&
              Is(PT_BINARY, 0x102) && Is(MAPI_MODIFY, 0x1) && Is(MAPI_CREATE, 0x2) &&
              Is(MAPI_BEST_ACCESS, 0x10) && Is(MAPI_EXTENDED, 0x20) && Is(FORCE_SAVE, 0x4) &&
              Is(KEEP_OPEN_READWRITE, 0x2) && Is(ATTACH_OLE, 0x6) && Is(ATTACH_EMBEDDED_MSG, 0x5) &&
              Is(RES_PROPERTY, 0x4) && Is(RELOP_EQ, 0x4) && Is(BOOKMARK_END, 0x2) &&
              Is(MAPI_CC, 0x2) && Is(AB_NO_DIALOG, 0x1));
static_assert(sizeof(SPropValue) == 24 && offsetof(SPropValue, Value) == 8 &&
              offsetof(SRowSet, aRow) == 8 && sizeof(SRow) == 16 && sizeof(SRestriction) == 32 &&
              offsetof(SPropertyRestriction, lpProp) == 8 && offsetof(ENTRYID, ab) == 4 &&
              sizeof(STATSTG) == 80 && offsetof(STATSTG, cbSize) == 16 && sizeof(GUID) == 16);

// The place of a method in its table: what a pointer to a virtual member holds on both targets.
template <class Method>
std::size_t Slot(Method method) {
    std::size_t offset = 0;
    std::memcpy(&offset, &method, sizeof offset);
    return (offset - 1) / sizeof(void*);
}

TEST(MapiDeclarations, MethodsHaveTheirPlaces) {
    const std::pair<std::size_t, std::size_t> slots[] = {
        {Slot(&IStream::Clone), 13},
        {Slot(&ILockBytes::Stat), 9},
        {Slot(&IStorage::Stat), 17},
        {Slot(&IMAPIProp::OpenProperty), 7},
        {Slot(&IMAPIProp::GetIDsFromNames), 13},
        {Slot(&IMessage::GetAttachmentTable), 14},
        {Slot(&IMessage::SetReadFlag), 21},
        {Slot(&IMAPITable::QueryRows), 19},
        {Slot(&IMAPITable::SetCollapseState), 25},
        {Slot(&IAddrBook::PrepareRecips), 31},
        {Slot(&IMsgStore::NotifyNewMail), 26},
        {Slot(&IMAPISession::PrepareForm), 21},
        {Slot(&plugins::mapi::IExchExtCallback::GetObject), 8},
    };
    for (const auto& [slot, expected] : slots) EXPECT_EQ(slot, expected);
}

}  // namespace
