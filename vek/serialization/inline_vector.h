#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <span>
#include <type_traits>

namespace vek::serialization {

// A vector that keeps its first kRoom elements in itself, for what is put together for each call
// and is nearly always short. Elements are copied as bytes. Growing raises std::bad_alloc and
// leaves it as it was.
template <class T, std::size_t kRoom>
requires std::is_trivially_copyable_v<T>
class InlineVector {
public:
    InlineVector() noexcept {}
    ~InlineVector() {
        if (data_ != room()) std::allocator<T>().deallocate(data_, capacity_);
    }
    InlineVector(const InlineVector&) = delete;
    InlineVector& operator=(const InlineVector&) = delete;

    // `items` are not its own; a single one may be.
    void Append(std::span<const T> items) {
        if (items.empty()) return;
        T* const added = Add(items.size());
        if constexpr (sizeof(T) >= sizeof(void*)) {  // few of them: a call costs more than the copy
            for (std::size_t i = 0; i < items.size(); ++i) std::construct_at(added + i, items[i]);
        } else {
            std::memcpy(static_cast<void*>(added), items.data(), items.size_bytes());
        }
    }
    void Append(const T& item) {
        const T copy = item;
        std::memcpy(static_cast<void*>(Add(1)), &copy, sizeof copy);
    }
    void clear() noexcept { size_ = 0; }

    // Makes room for `count` more elements and gives the first of them; they are not initialised.
    T* Add(std::size_t count) {
        if (count > capacity_ - size_) [[unlikely]] {
            Grow(count);
        }
        T* const added = data_ + size_;
        size_ += count;
        return added;
    }

    std::size_t size() const noexcept { return size_; }
    bool empty() const noexcept { return size_ == 0; }
    const T* data() const noexcept { return data_; }
    T* first() noexcept { return data_; }  // to be changed
    const T* begin() const noexcept { return data_; }
    const T* end() const noexcept { return data_ + size_; }

private:
    T* room() noexcept { return reinterpret_cast<T*>(room_); }

    void Grow(std::size_t count) {
        const std::size_t capacity = std::max(2 * capacity_, size_ + count);
        T* const data = std::allocator<T>().allocate(capacity);
        std::memcpy(static_cast<void*>(data), data_, size_ * sizeof(T));
        if (data_ != room()) std::allocator<T>().deallocate(data_, capacity_);
        data_ = data;
        capacity_ = capacity;
    }

    T* data_ = room();
    std::size_t size_ = 0;
    std::size_t capacity_ = kRoom;
    alignas(T) std::byte room_[kRoom * sizeof(T)];
};

}  // namespace vek::serialization
