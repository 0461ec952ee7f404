// Rules files from anywhere: every line is a rule or an error that can be shown.

#include <cstdint>
#include <string_view>

#include "product/rules.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace reference_product;
    const ParsedRules parsed =
        ParseRules({reinterpret_cast<const char*>(data), size}, "input.rules");
    for (const RuleError& error : parsed.errors) ToText(error);
    return 0;
}
