#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace plugins::mail_processing {

// The bytes of a message entry id as Outlook's object model writes it: two hexadecimal digits a
// byte, of either case. Any other character counts as 0; an odd last one is ignored.
std::vector<std::byte> EntryIdFromHex(std::u16string_view hex);

}  // namespace plugins::mail_processing
