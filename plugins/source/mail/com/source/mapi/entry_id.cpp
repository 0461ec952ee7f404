#include "mapi/entry_id.h"

namespace plugins::mapi {
namespace {

constexpr unsigned DigitValue(char16_t c) noexcept {
    if (c >= u'0' && c <= u'9') return static_cast<unsigned>(c - u'0');
    if (c >= u'a' && c <= u'f') return static_cast<unsigned>(c - u'a' + 10);
    if (c >= u'A' && c <= u'F') return static_cast<unsigned>(c - u'A' + 10);
    return 0;
}

}  // namespace

std::vector<std::byte> EntryIdFromHex(std::u16string_view hex) {
    std::vector<std::byte> bytes;
    bytes.reserve(hex.size() / 2);
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
        bytes.push_back(static_cast<std::byte>(DigitValue(hex[i]) << 4 | DigitValue(hex[i + 1])));
    }
    return bytes;
}

std::u16string EntryIdToHex(std::span<const std::byte> bytes) {
    constexpr std::u16string_view kDigits = u"0123456789ABCDEF";
    std::u16string hex;
    hex.reserve(2 * bytes.size());
    for (const std::byte byte : bytes) {
        hex.push_back(kDigits[std::to_integer<unsigned>(byte >> 4)]);
        hex.push_back(kDigits[std::to_integer<unsigned>(byte & std::byte{0xF})]);
    }
    return hex;
}

}  // namespace plugins::mapi
