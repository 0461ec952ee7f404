#pragma once

// Entry ids as Outlook's object model writes them: two hexadecimal digits a byte.

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace plugins::mapi {

// The bytes that `hex` writes, with digits of either case. Any other character counts as 0; an odd
// last one is ignored.
std::vector<std::byte> EntryIdFromHex(std::u16string_view hex);

// The digits of `bytes`, in upper case.
std::u16string EntryIdToHex(std::span<const std::byte> bytes);

// The same for the bytes of a text.
inline std::u16string EntryIdToHex(std::string_view bytes) {
    return EntryIdToHex(std::as_bytes(std::span(bytes)));
}

}  // namespace plugins::mapi
