#pragma once

// Conversions of the exception that is being handled. A border around a body is written with
// AtBorder (border.h); these are for a handler that does more.

#include <string>

#include "vek/core/result.h"

namespace vek {

// To be called in a catch block. A CodeCarrier gives its code, std::bad_alloc kOutOfMemory, any
// other exception kUnknownException. The result is always a failure: kUnexpected stands for a
// carried code that says success.
result_t CurrentExceptionResult() noexcept;

// To be called in a catch block: the display text of a framework exception, the what() of a
// standard one, "Unknown exception" for anything else. Empty when there is no memory for it.
std::string CurrentExceptionText() noexcept;

}  // namespace vek
