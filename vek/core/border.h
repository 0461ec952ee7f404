#pragma once

#include <type_traits>
#include <utility>

#include "vek/core/current_exception.h"

namespace vek {

// Runs `body` where no exception may pass: at an interface's method, a thread's function, a call
// from elsewhere. Gives what `body` returns, kOk when it returns nothing, and the current
// exception's code (CurrentExceptionResult) when it raises.
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
