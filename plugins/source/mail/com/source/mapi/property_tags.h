#pragma once

// The property tags in use (mapitags.h). A tag is the property's id in the high half and its type
// in the low half; A and W are the narrow and the wide view of the same text.

#include <cstdint>

namespace plugins::mapi::tag {

inline constexpr std::uint32_t kMessageClassA = 0x001A001E;
inline constexpr std::uint32_t kSubjectA = 0x0037001E;
inline constexpr std::uint32_t kSubjectW = 0x0037001F;
inline constexpr std::uint32_t kClientSubmitTime = 0x00390040;
inline constexpr std::uint32_t kSentRepresentingNameA = 0x0042001E;
inline constexpr std::uint32_t kProviderSubmitTime = 0x00480040;
inline constexpr std::uint32_t kSentRepresentingAddrTypeA = 0x0064001E;
inline constexpr std::uint32_t kSentRepresentingEmailAddressA = 0x0065001E;
inline constexpr std::uint32_t kTransportMessageHeadersA = 0x007D001E;

inline constexpr std::uint32_t kRecipientType = 0x0C150003;
inline constexpr std::uint32_t kSenderEntryId = 0x0C190102;
inline constexpr std::uint32_t kSenderNameA = 0x0C1A001E;
inline constexpr std::uint32_t kSenderNameW = 0x0C1A001F;
inline constexpr std::uint32_t kSenderAddrTypeA = 0x0C1E001E;
inline constexpr std::uint32_t kSenderEmailAddressA = 0x0C1F001E;

inline constexpr std::uint32_t kDisplayCcA = 0x0E03001E;
inline constexpr std::uint32_t kDisplayToA = 0x0E04001E;
inline constexpr std::uint32_t kMessageFlags = 0x0E070003;
inline constexpr std::uint32_t kHasAttach = 0x0E1B000B;
inline constexpr std::uint32_t kAttachSize = 0x0E200003;
inline constexpr std::uint32_t kAttachNum = 0x0E210003;
inline constexpr std::uint32_t kEntryId = 0x0FFF0102;

inline constexpr std::uint32_t kBodyA = 0x1000001E;
inline constexpr std::uint32_t kRtfCompressed = 0x10090102;
// The HTML body as a narrow text, and as the bytes that it is, in the page of kInternetCodePage.
inline constexpr std::uint32_t kBodyHtmlA = 0x1013001E;
inline constexpr std::uint32_t kHtml = 0x10130102;
inline constexpr std::uint32_t kInternetMessageIdA = 0x1035001E;

inline constexpr std::uint32_t kDisplayNameA = 0x3001001E;
inline constexpr std::uint32_t kDisplayNameW = 0x3001001F;
inline constexpr std::uint32_t kAddrTypeA = 0x3002001E;
inline constexpr std::uint32_t kEmailAddressA = 0x3003001E;
inline constexpr std::uint32_t kLastModificationTime = 0x30070040;

inline constexpr std::uint32_t kAttachDataObj = 0x3701000D;
inline constexpr std::uint32_t kAttachDataBin = 0x37010102;
inline constexpr std::uint32_t kAttachFilenameA = 0x3704001E;
inline constexpr std::uint32_t kAttachMethod = 0x37050003;
inline constexpr std::uint32_t kAttachLongFilenameA = 0x3707001E;
inline constexpr std::uint32_t kAttachMimeTagA = 0x370E001E;

inline constexpr std::uint32_t kSmtpAddressA = 0x39FE001E;
inline constexpr std::uint32_t kInternetCodePage = 0x3FDE0003;

// The content type where the store keeps it: a fixed id, although its range is that of named
// properties.
inline constexpr std::uint32_t kContentTypeA = 0x803C001E;

}  // namespace plugins::mapi::tag
