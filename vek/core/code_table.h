#pragma once

// Sorted tables from result codes to constant texts.

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string_view>
#include <type_traits>

#include "vek/core/result.h"
#include "vek/core/result_text.h"

namespace vek {

template <class Char>
struct code_text_t {
    result_t code;
    std::basic_string_view<Char> text;
};

// Whether FindText can search `table`. To be asserted beside each table.
template <class Char, std::size_t Size>
constexpr bool IsAscending(const code_text_t<Char> (&table)[Size]) noexcept {
    return std::adjacent_find(std::begin(table), std::end(table),
                              [](const code_text_t<Char>& a, const code_text_t<Char>& b) {
                                  return a.code >= b.code;
                              }) == std::end(table);
}

// The text of `code`, or `unknown` when the table does not have it.
template <class Char, std::size_t Size>
constexpr std::basic_string_view<Char> FindText(
    const code_text_t<Char> (&table)[Size], result_t code,
    std::type_identity_t<std::basic_string_view<Char>> unknown) noexcept {
    const auto found = std::lower_bound(
        std::begin(table), std::end(table), code,
        [](const code_text_t<Char>& entry, result_t wanted) { return entry.code < wanted; });
    return found != std::end(table) && found->code == code ? found->text : unknown;
}

constexpr narrow_text_t ToNarrowText(std::string_view text) noexcept {
    return {text.data(), text.data() + text.size()};
}

}  // namespace vek
