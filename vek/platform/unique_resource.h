#pragma once

#include <utility>

namespace vek::platform {

// Owns one resource of the system, or none, and gives it back when it is destroyed or takes over
// another. Traits say what kind of resource it is:
//
//     struct Traits {
//         using value_t = int;
//         static value_t None() noexcept;             // the value that stands for no resource
//         static void Close(value_t value) noexcept;  // gives back any other value
//     };
//
// One thread at a time may use an object.
template <class Traits>
class UniqueResource {
public:
    using value_t = typename Traits::value_t;

    UniqueResource() noexcept = default;

    // Takes over `value`, which may be None().
    explicit UniqueResource(value_t value) noexcept : value_(value) {}

    UniqueResource(UniqueResource&& other) noexcept : value_(other.Release()) {}
    UniqueResource& operator=(UniqueResource&& other) noexcept {
        UniqueResource taken(std::move(other));
        std::swap(value_, taken.value_);
        return *this;
    }
    ~UniqueResource() {
        if (*this) Traits::Close(value_);
    }

    value_t get() const noexcept { return value_; }

    // Hands the resource to the caller, who gives it back.
    [[nodiscard]] value_t Release() noexcept { return std::exchange(value_, Traits::None()); }

    explicit operator bool() const noexcept { return value_ != Traits::None(); }

private:
    value_t value_ = Traits::None();
};

}  // namespace vek::platform
