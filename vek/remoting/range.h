#pragma once

#include <cstddef>
#include <type_traits>

namespace vek {

// A range of storage that belongs to the caller. Passed by reference it is an in-out argument: the
// callee may change what is in it and make it shorter, but must neither let it point elsewhere nor
// make it longer.
template <class T>
struct range_t {
    static_assert(std::is_trivially_copyable_v<T>);
    T* data = nullptr;
    std::size_t size = 0;  // in elements
};

}  // namespace vek
