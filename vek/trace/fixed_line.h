#pragma once

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <string_view>

#include "vek/core/text.h"
#include "vek/trace/line.h"

namespace vek::trace {

// A text of at most `kRoom` bytes, for whoever must not allocate. What does not fit is cut off.
template <std::size_t kRoom>
class FixedLine {
public:
    template <class... Pieces>
    explicit FixedLine(const Pieces&... pieces) noexcept {
        (Append(pieces), ...);
    }

    void Append(std::string_view text) noexcept {
        text = text.substr(0, kRoom - size_);
        size_ += static_cast<std::size_t>(std::ranges::copy(text, end()).out - end());
    }
    void Append(Hex number) noexcept {
        Append("0x");
        for (int digits = number.digits; digits > 0; digits -= 8) {
            const auto part = static_cast<std::uint32_t>(number.value >> (digits - 8) * 4);
            const std::array text = HexDigits<char>(part);
            Append({text.data(), text.size()});
        }
    }
    template <DecimalNumber Number>
    void Append(Number number) noexcept {
        std::array<char, 20> digits;
        const char* const last = std::to_chars(digits.begin(), digits.end(), number).ptr;
        Append({digits.begin(), last});
    }

    std::string_view text() const noexcept { return {bytes_.data(), size_}; }

private:
    char* end() noexcept { return bytes_.data() + size_; }

    std::array<char, kRoom> bytes_;
    std::size_t size_ = 0;
};

}  // namespace vek::trace
