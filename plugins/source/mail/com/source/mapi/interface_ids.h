#pragma once

// Ids of the interfaces asked for here (mapiguid.h, objidl.h): constants of our own, so that no
// id library need be linked.

#include <cstdint>

#include "mapi/mapi_interfaces.h"

namespace plugins::mapi::iid {

// {number-0000-0000-C000-000000000046}, the form of all of them.
constexpr IID Ole(std::uint32_t number) noexcept {
    return {number, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
}

inline constexpr IID kUnknown = Ole(0x00000000);
inline constexpr IID kLockBytes = Ole(0x0000000A);
inline constexpr IID kStorage = Ole(0x0000000B);
inline constexpr IID kStream = Ole(0x0000000C);
inline constexpr IID kEnumStatStg = Ole(0x0000000D);
inline constexpr IID kSequentialStream = {
    0x0C733A30, 0x2A1C, 0x11CE, {0xAD, 0xE5, 0x00, 0xAA, 0x00, 0x44, 0x77, 0x3D}};

inline constexpr IID kSession = Ole(0x00020300);
inline constexpr IID kTable = Ole(0x00020301);
inline constexpr IID kProp = Ole(0x00020303);
inline constexpr IID kMsgStore = Ole(0x00020306);
inline constexpr IID kMessage = Ole(0x00020307);
inline constexpr IID kAttachment = Ole(0x00020308);
inline constexpr IID kAddrBook = Ole(0x00020309);
inline constexpr IID kMailUser = Ole(0x0002030A);
inline constexpr IID kContainer = Ole(0x0002030B);

}  // namespace plugins::mapi::iid
