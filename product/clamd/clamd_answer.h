#pragma once

// What clamd's answers say. They are foreign: nothing of them is shown or kept as it came.

#include <cstdint>
#include <string>
#include <string_view>

#include "product/content_engine.h"

namespace reference_product {

// The most bytes that an answer may have, its NUL included.
inline constexpr std::size_t kLongestAnswer = 1024;

// What the answer to a content says, `clamd` being the daemon's name in texts. `sent` tells whether
// all of the content had been sent when it came.
ContentVerdict ReadVerdict(std::string_view answer, bool sent, std::string_view clamd);

// What the answer to zVERSION says, with no trouble; another answer is the trouble.
EngineState ReadVersion(std::string_view answer, std::string_view clamd);

}  // namespace reference_product
