#include "model/property_value.h"

#include <array>
#include <cstdio>

#include "vek/core/throw.h"

namespace plugins::mail_processing {
namespace {

template <class Char>
std::basic_string_view<Char> Terminated(const Char* text) {
    if (text == nullptr) vek::ThrowResult(vek::result::kInvalidType);
    return text;
}

vek::platform::filetime_t ToFileTime(const FILETIME& time) noexcept {
    return static_cast<std::uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}

}  // namespace

std::string TimeText(vek::platform::filetime_t utc, vek::platform::Clock& clock) {
    const vek::platform::CalendarTime t = vek::platform::ToCalendar(clock.ToLocal(utc));
    std::array<char, 32> text{};
    const int length = std::snprintf(text.data(), text.size(), "%04u/%02u/%02u %02u:%02u:%02u",
                                     t.year, t.month, t.day, t.hour, t.minute, t.second);
    return std::string(text.data(), static_cast<std::size_t>(length));
}

PropertyValue FromMapi(const SPropValue& property, vek::platform::Clock& clock) {
    switch (PROP_TYPE(property.ulPropTag)) {
        case PT_STRING8:
            return std::string(Terminated<char>(property.Value.lpszA));
        case PT_UNICODE: {
            const auto text = Terminated<WCHAR>(property.Value.lpszW);
            return std::u16string(text.begin(), text.end());
        }
        case PT_LONG:
            return std::int32_t{property.Value.l};
        case PT_CURRENCY:
            return std::int64_t{property.Value.cur.int64};
        case PT_BOOLEAN:
            return property.Value.b != 0;
        case PT_SYSTIME:
            return TimeText(ToFileTime(property.Value.ft), clock);
        case PT_BINARY: {
            const SBinary& binary = property.Value.bin;
            if (binary.cb == 0) return std::vector<std::byte>();
            if (binary.lpb == nullptr) vek::ThrowResult(vek::result::kInvalidType);
            const auto* bytes = reinterpret_cast<const std::byte*>(binary.lpb);
            return std::vector<std::byte>(bytes, bytes + binary.cb);
        }
        default:
            vek::ThrowResult(vek::result::kInvalidType);
    }
}

std::uint64_t HeldBytes(const PropertyValue& value) noexcept {
    return std::visit(
        [](const auto& held) -> std::uint64_t {
            if constexpr (requires { held.data(); }) {
                return held.size() * sizeof(*held.data());
            } else {
                return 0;
            }
        },
        value);
}

}  // namespace plugins::mail_processing
