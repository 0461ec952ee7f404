#pragma once

// The throw functions: each captures the file and line of the statement that calls it. Any thread
// may call them.

#include "vek/core/exception.h"

namespace vek {

// Raises ResultCodeException.
[[noreturn]] void ThrowResult(result_t code, SourceLocation location = SourceLocation::Here());

// Raises SystemException with `code`, which is one of the platform facility.
[[noreturn]] void ThrowSystem(result_t code, SourceLocation location = SourceLocation::Here());

// Raises BadQueryInterfaceException.
[[noreturn]] void ThrowBadQueryInterface(SourceLocation location = SourceLocation::Here());

// Raises CheckFailedException unless `condition` holds.
inline void Check(bool condition, SourceLocation location = SourceLocation::Here()) {
    if (!condition) [[unlikely]]
        throw CheckFailedException(location);
}

// Raises CheckResultFailedException with `code` when it is a failure.
inline void CheckResult(result_t code, SourceLocation location = SourceLocation::Here()) {
    if (Failed(code)) [[unlikely]]
        throw CheckResultFailedException(location, code);
}

}  // namespace vek
