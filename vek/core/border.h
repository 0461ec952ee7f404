#pragma once

#include <type_traits>
#include <utility>

#include "vek/core/current_exception.h"
#include "vek/core/result.h"

namespace vek {

// Runs `body` and lets no exception out: for an interface method that is called from elsewhere, a
// thread function or an export. Gives the result_t that `body` returns, kOk when it returns
// nothing, and CurrentExceptionResult() when it raises.
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
