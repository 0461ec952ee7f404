#pragma once

// Trace lines built from pieces, and only when the line is taken:
//
//     trace::Write(tracer, trace::level::kDetail, "Get property ", trace::Hex(tag));

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

#include "vek/core/result.h"
#include "vek/core/source_location.h"
#include "vek/trace/tracer.h"

namespace vek::trace {

// Written as "0x" and eight lowercase digits (sixteen for 64 bits): HRESULTs, tags.
struct Hex {
    template <std::integral Number>
    explicit constexpr Hex(Number v) noexcept
        : value(static_cast<std::make_unsigned_t<Number>>(v)),
          digits(sizeof(Number) > 4 ? 16 : 8) {}
    std::uint64_t value;
    int digits;
};

// Written with its text: "result=0x80000046 (Invalid argument)".
struct Result {
    explicit constexpr Result(result_t c) noexcept : code(c) {}
    result_t code;
};

// A pointer's value, as bare lowercase digits without leading zeros; for texts that say "0x"
// themselves.
struct Address {
    explicit Address(const void* object) noexcept
        : value(reinterpret_cast<std::uintptr_t>(object)) {}
    explicit constexpr Address(std::uint64_t number) noexcept : value(number) {}
    std::uint64_t value;
};

void AppendPiece(std::string& line, std::string_view text);
void AppendPiece(std::string& line, std::u16string_view text);
void AppendPiece(std::string& line, Hex number);
void AppendPiece(std::string& line, Result result);
void AppendPiece(std::string& line, Address address);
void AppendPiece(std::string& line, std::int64_t number);
void AppendPiece(std::string& line, std::uint64_t number);

// Integers are written in decimal; a truth value or a character is not taken for one.
template <class Type>
concept DecimalNumber = std::integral<Type> && !std::same_as<Type, bool> &&
                        !std::same_as<Type, char> && !std::same_as<Type, char16_t>;

template <DecimalNumber Number>
void AppendPiece(std::string& line, Number number) {
    if constexpr (std::signed_integral<Number>) {
        AppendPiece(line, static_cast<std::int64_t>(number));
    } else {
        AppendPiece(line, static_cast<std::uint64_t>(number));
    }
}

// Builds and writes a line that the tracer takes, for Write. Kept out of line: most lines are not
// taken, and their callers stay small.
template <class... Pieces>
[[gnu::cold, gnu::noinline]] void WriteTaken(const TracerPtr& tracer, level_t level,
                                             const Pieces&... pieces) noexcept {
    try {
        std::string line;
        (AppendPiece(line, pieces), ...);
        tracer->Write(level, line);
    } catch (...) {  // NOLINT(bugprone-empty-catch): tracing never disturbs its caller
    }
}

// Writes the line made of `pieces` when `tracer` takes lines of `level`; otherwise nothing is
// formatted or allocated. Want of memory loses the line and nothing else.
template <class... Pieces>
void Write(const TracerPtr& tracer, level_t level, const Pieces&... pieces) noexcept {
    if (IsEnabled(tracer, level)) WriteTaken(tracer, level, pieces...);
}

// Writes "file(line): statement, result = 0x80000044" at level kError.
inline void WriteFailedStatement(const TracerPtr& tracer, std::string_view statement,
                                 result_t result,
                                 SourceLocation location = SourceLocation::Here()) noexcept {
    Write(tracer, level::kError, location.file, "(", location.line, "): ", statement,
          ", result = ", Hex(result));
}

// To be called in a catch block: writes the current exception's text after `prefix`, at level
// kError.
void WriteCurrentException(const TracerPtr& tracer, std::string_view prefix = {}) noexcept;

}  // namespace vek::trace
