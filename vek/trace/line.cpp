#include "vek/trace/line.h"

#include <array>
#include <charconv>

#include "vek/core/current_exception.h"
#include "vek/core/result_text.h"
#include "vek/core/text.h"

namespace vek::trace {
namespace {

template <class Number>
void AppendDecimal(std::string& line, Number number) {
    std::array<char, 20> digits;
    const auto end = std::to_chars(digits.begin(), digits.end(), number).ptr;
    line.append(digits.begin(), end);
}

}  // namespace

void AppendPiece(std::string& line, std::string_view text) { line += text; }

void AppendPiece(std::string& line, std::u16string_view text) { AppendUtf8(line, text); }

void AppendPiece(std::string& line, Hex number) {
    line += "0x";
    const auto append = [&line](std::uint64_t part) {
        const auto digits = HexDigits<char>(static_cast<std::uint32_t>(part));
        line.append(digits.begin(), digits.end());
    };
    if (number.digits > 8) append(number.value >> 32);
    append(number.value);
}

void AppendPiece(std::string& line, Result result) { AppendResult(line, result.code); }

void AppendPiece(std::string& line, Address address) {
    std::array<char, 16> digits;
    const auto end = std::to_chars(digits.begin(), digits.end(), address.value, 16).ptr;
    line.append(digits.begin(), end);
}

void AppendPiece(std::string& line, std::int64_t number) { AppendDecimal(line, number); }

void AppendPiece(std::string& line, std::uint64_t number) { AppendDecimal(line, number); }

void WriteCurrentException(const TracerPtr& tracer, std::string_view prefix) noexcept {
    if (IsEnabled(tracer, level::kError)) {
        Write(tracer, level::kError, prefix, CurrentExceptionText());
    }
}

}  // namespace vek::trace
