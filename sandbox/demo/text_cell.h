#pragma once

#include <string>
#include <string_view>

namespace sandbox::demo {

// Gives a UTF-8 text for a terminal, filled up with blanks to `width` columns; a longer one ends
// with an ellipsis in the last of them. East Asian characters take two columns, combining marks
// none. What would move the cursor or turn the direction is shown as a dot, bytes that are no UTF-8
// as U+FFFD.
std::string Cell(std::string_view text, std::size_t width);

}  // namespace sandbox::demo
