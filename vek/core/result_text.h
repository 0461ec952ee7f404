#pragma once

// The message texts of result codes. The texts, their spelling included, are a contract with the
// product. Every code has a text: an unknown one reads as its table's "Unknown ..." text.
//
// All functions may be called from any thread; the texts are constant and live for ever.

#include <cstddef>
#include <string>
#include <string_view>

#include "vek/core/result.h"

namespace vek {

// Gives the text of a code of the general or the platform facility. A code of any other facility
// reads as an unknown one of the general table.
std::u16string_view ResultText(result_t code) noexcept;

// A text in constant storage.
struct narrow_text_t {
    const char* begin;
    const char* end;

    constexpr std::string_view view() const noexcept {
        return {begin, static_cast<std::size_t>(end - begin)};
    }
};

// The texts of the product's facilities, one function for each.
narrow_text_t TaskManagerText(result_t code) noexcept;
narrow_text_t TaskSchedulerText(result_t code) noexcept;
narrow_text_t SettingsStorageText(result_t code) noexcept;
narrow_text_t ServiceManagerText(result_t code) noexcept;
narrow_text_t LoaderText(result_t code) noexcept;

// Appends a code in the form it has in traces, "result=0x80000046 (Invalid argument)", in UTF-8.
// The code's facility picks the table. Raises only for want of memory.
void AppendResult(std::string& out, result_t code);

}  // namespace vek
