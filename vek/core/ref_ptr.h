#pragma once

// The one smart pointer for counted objects, the framework's and COM's alike.

#include <cstddef>
#include <type_traits>
#include <utility>

namespace vek {

// Owns one reference to a T, or nothing. T has AddRef() and Release().
template <class T>
class RefPtr {
public:
    constexpr RefPtr() noexcept = default;
    constexpr RefPtr(std::nullptr_t) noexcept {}

    // Takes over the reference that the caller holds.
    static RefPtr Adopt(T* object) noexcept {
        RefPtr pointer;
        pointer.object_ = object;
        return pointer;
    }

    // Adds a reference of its own.
    static RefPtr Share(T* object) noexcept {
        if (object != nullptr) object->AddRef();
        return Adopt(object);
    }

    RefPtr(const RefPtr& other) noexcept : RefPtr(Share(other.object_)) {}
    RefPtr(RefPtr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}

    // Converts to a base's pointer.
    template <class U, std::enable_if_t<std::is_convertible_v<U*, T*>, int> = 0>
    RefPtr(RefPtr<U> other) noexcept : object_(other.detach()) {}

    RefPtr& operator=(RefPtr other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }

    ~RefPtr() { reset(); }

    T* get() const noexcept { return object_; }
    T* operator->() const noexcept { return object_; }
    T& operator*() const noexcept { return *object_; }
    explicit operator bool() const noexcept { return object_ != nullptr; }

    // Gives the reference to the caller.
    [[nodiscard]] T* detach() noexcept { return std::exchange(object_, nullptr); }

    void reset() noexcept {
        if (T* object = std::exchange(object_, nullptr)) object->Release();
    }

    // For an out parameter that is given a reference: releases what is held and gives the
    // address to fill.
    [[nodiscard]] T** put() noexcept {
        reset();
        return &object_;
    }
    [[nodiscard]] void** put_void() noexcept { return reinterpret_cast<void**>(put()); }

    friend bool operator==(const RefPtr& a, const RefPtr& b) noexcept {
        return a.object_ == b.object_;
    }
    friend bool operator==(const RefPtr& a, std::nullptr_t) noexcept {
        return a.object_ == nullptr;
    }

private:
    T* object_ = nullptr;
};

// Constructs a T, whose count starts at one, and owns that reference.
template <class T, class... Arguments>
RefPtr<T> MakeObject(Arguments&&... arguments) {
    return RefPtr<T>::Adopt(new T(std::forward<Arguments>(arguments)...));
}

}  // namespace vek
