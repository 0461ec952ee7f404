#pragma once

#include <new>
#include <type_traits>

#include "mapi/mapi_interfaces.h"
#include "vek/core/current_exception.h"

namespace plugins::com {

// Runs `body` and gives what it gives, S_OK when that is nothing. What it raises becomes an
// HRESULT: that of a failed call is kept.
template <class Body>
HRESULT AtBorder(Body&& body) noexcept {
    try {
        if constexpr (std::is_void_v<std::invoke_result_t<Body&>>) {
            body();
            return S_OK;
        } else {
            return body();
        }
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return static_cast<HRESULT>(vek::CurrentExceptionResult());
    }
}

}  // namespace plugins::com
