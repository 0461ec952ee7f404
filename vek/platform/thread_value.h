#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

namespace vek::platform {

// Room for one pointer in each thread, null at first: an object of static storage, of which a
// module has few. Unlike what the language has, it takes nothing of a thread that runs a module's
// code before the module is unloaded. Keeps LastError().
class ThreadSlot {
public:
    ThreadSlot() noexcept;
    ThreadSlot(const ThreadSlot&) = delete;
    ThreadSlot& operator=(const ThreadSlot&) = delete;

    void* Get() const noexcept;
    void Set(void* value) noexcept;

private:
    const std::uint32_t index_;
};

// The same for a pointer or a number.
template <class T>
class ThreadValue {
    static_assert(std::is_trivially_copyable_v<T> && sizeof(T) <= sizeof(void*));

public:
    T Get() const noexcept {
        void* const kept = slot_.Get();
        T value;
        std::memcpy(&value, &kept, sizeof value);
        return value;
    }
    void Set(T value) noexcept {
        void* kept = nullptr;
        std::memcpy(&kept, &value, sizeof value);
        slot_.Set(kept);
    }
    // Gives what it was.
    T Exchange(T value) noexcept {
        const T before = Get();
        Set(value);
        return before;
    }

private:
    ThreadSlot slot_;
};

}  // namespace vek::platform
