#pragma once

#include "sandbox/outlook/property_value.h"

namespace sandbox::outlook {

// Texts between UTF-8 and a code page by its number, as the system's conversions do it. What the
// page lacks becomes a letter that looks like it, as A for U+0100, or "?"; bytes that mean nothing
// in the page become some character. A text that is the same in both is not copied. Raise
// std::runtime_error for a page that the system does not have.
Content ToCodePage(Content utf8, unsigned code_page);
Content FromCodePage(Content narrow, unsigned code_page);

// The system's part: the text is not empty and the page is not UTF-8.
std::string Encode(std::string_view utf8, unsigned code_page);
std::string Decode(std::string_view narrow, unsigned code_page);

}  // namespace sandbox::outlook
