// Message files from anywhere: one that is read must be written and read again as the same.

#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>

#include "sandbox/outlook/message_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace sandbox::outlook;
    try {
        const MessageRecord message =
            ParseMessage({reinterpret_cast<const char*>(data), size}, "input");
        const std::string text = FormatMessage(message);
        if (FormatMessage(ParseMessage(text, "written")) != text) std::abort();
    } catch (const std::runtime_error&) {
    }
    return 0;
}
