#pragma once

#include <type_traits>
#include <utility>

#include "vek/core/current_exception.h"

namespace vek {

// Runs `body`, which gives a result code or nothing, and turns an exception that leaves it into a
// code, as CurrentExceptionResult does. For everything that is called from elsewhere: an interface
// method, a thread function, an export.
template <class Body>
result_t AtBorder(Body&& body) noexcept {
    try {
        if constexpr (std::is_void_v<std::invoke_result_t<Body>>) {
            std::forward<Body>(body)();
            return result::kOk;
        } else {
            return std::forward<Body>(body)();
        }
    } catch (...) {
        return CurrentExceptionResult();
    }
}

}  // namespace vek
