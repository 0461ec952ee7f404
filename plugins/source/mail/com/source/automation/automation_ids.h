#pragma once

// Outlook's public type library and that of the extension: interfaces, and the events and numbers
// that are used of them.

#include "mapi/interface_ids.h"

// The order matters: it needs windows.h.
#include <oaidl.h>

namespace plugins::mail_processing::automation {

namespace iid {
using mapi::iid::Ole;
inline constexpr IID kApplication = Ole(0x00063001);
inline constexpr IID kMailItem = Ole(0x00063034);
inline constexpr IID kApplicationEvents = Ole(0x0006304E);
inline constexpr IID kApplicationEvents11 = Ole(0x0006302C);
inline constexpr IID kItemEvents10 = Ole(0x0006302B);
inline constexpr IID kItemsEvents = Ole(0x00063077);

// _IExchExtEvents, and the extension object's own.
inline constexpr IID kExchExtEvents = {
    0xD00F8244, 0x7802, 0x4C07, {0x81, 0x76, 0xD7, 0x61, 0xBC, 0xBD, 0x17, 0xE3}};
inline constexpr IID kExchExtObject = {
    0xA574BA17, 0x27EB, 0x49AB, {0xA5, 0xF6, 0x30, 0x4F, 0x2C, 0x26, 0xD3, 0x9D}};
}  // namespace iid

inline constexpr CLSID kExchClientExtClass = {
    0xD8003089, 0xA4B3, 0x4622, {0x8D, 0x8D, 0xCC, 0xD8, 0x67, 0xCA, 0xF4, 0x6F}};

// DISPIDs of events.
namespace application_event {
inline constexpr DISPID kItemSend = 0xF002;
inline constexpr DISPID kOptionsPagesAdd = 0xF005;
inline constexpr DISPID kQuit = 0xF007;
inline constexpr DISPID kNewMailEx = 0xFAB5;
inline constexpr DISPID kItemLoad = 0xFBA7;
}  // namespace application_event

namespace item_event {
inline constexpr DISPID kRead = 0xF001;
inline constexpr DISPID kUnload = 0xFBAD;
}  // namespace item_event

namespace items_event {
inline constexpr DISPID kItemAdd = 0xF001;
}  // namespace items_event

namespace exchange_event {
inline constexpr DISPID kOnDelivery = 1;
inline constexpr DISPID kOnRead = 2;
}  // namespace exchange_event

inline constexpr std::int32_t kInboxFolder = 6;  // olFolderInbox

}  // namespace plugins::mail_processing::automation
