#include "outlook/outlook_version.h"

namespace plugins::mail_processing {

std::int32_t MajorVersion(std::u16string_view version) noexcept {
    constexpr std::int32_t kNoVersion = 100'000;
    std::int32_t number = 0;
    for (const char16_t c : version.substr(0, version.find(u'.'))) {
        if (c < u'0' || c > u'9') return 0;
        number = number * 10 + (c - u'0');
        if (number >= kNoVersion) return 0;
    }
    return number;
}

}  // namespace plugins::mail_processing
