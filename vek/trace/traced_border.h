#pragma once

#include <type_traits>
#include <utility>

#include "vek/core/border.h"
#include "vek/trace/line.h"

namespace vek::trace {

// As AtBorder, and traces the exception after `prefix`: for a border behind which nobody looks at
// the code.
template <class Body>
result_t TracedBorder(const TracerPtr& tracer, Body&& body, std::string_view prefix = {}) noexcept {
    return AtBorder([&] {
        try {
            return std::forward<Body>(body)();
        } catch (...) {
            WriteCurrentException(tracer, prefix);
            throw;
        }
    });
}

}  // namespace vek::trace
