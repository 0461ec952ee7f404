#pragma once

// The one conversion of the current exception that borders use.

#include <string>

#include "vek/core/result.h"

namespace vek {

// To be called in a catch block. An exception with a code of its own gives that code, want of
// memory gives kOutOfMemory, anything else kUnknownException. The result is always a failure: a
// code that is none is reported as kUnexpected.
result_t CurrentExceptionResult() noexcept;

// To be called in a catch block: the display text of a framework exception, the what() of a
// standard one, "Unknown exception" for anything else. Empty when there is no memory for it.
std::string CurrentExceptionText() noexcept;

}  // namespace vek
