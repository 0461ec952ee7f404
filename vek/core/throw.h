#pragma once

// The throw functions: each captures the file and line of the statement that calls it.

#include "vek/core/exception.h"

namespace vek {

[[noreturn]] void ThrowResult(result_t code, SourceLocation place = SourceLocation::Here());

[[noreturn]] void ThrowBadQueryInterface(SourceLocation place = SourceLocation::Here());

// Raises CheckFailedException unless `condition` holds.
inline void Check(bool condition, SourceLocation place = SourceLocation::Here()) {
    if (!condition) [[unlikely]]
        throw CheckFailedException(place);
}

// Raises CheckResultFailedException with `code` when it is a failure.
inline void CheckResult(result_t code, SourceLocation place = SourceLocation::Here()) {
    if (Failed(code)) [[unlikely]]
        throw CheckResultFailedException(place, code);
}

}  // namespace vek
