#pragma once

#include <cstddef>
#include <memory>
#include <utility>

namespace vek {

// An object of the process that threads may use to the process's very end: it is made where it
// stands, and never destroyed. To be a local static variable:
//     static NeverDestroyed<SystemClock> clock;
//     return *clock;
template <class T>
class NeverDestroyed {
public:
    template <class... Arguments>
    explicit NeverDestroyed(Arguments&&... arguments) {
        std::construct_at(get(), std::forward<Arguments>(arguments)...);
    }
    NeverDestroyed(const NeverDestroyed&) = delete;
    NeverDestroyed& operator=(const NeverDestroyed&) = delete;

    T& operator*() noexcept { return *get(); }

private:
    T* get() noexcept { return reinterpret_cast<T*>(bytes_); }

    alignas(T) std::byte bytes_[sizeof(T)];
};

}  // namespace vek
