#pragma once

// Owners of what MAPI allocates.

#include <memory>

#include "mapi/mapi_functions.h"
#include "mapi/mapi_interfaces.h"

namespace plugins::mapi {

// A buffer that MAPIFreeBuffer gives back. `functions` outlives it.
template <class T>
class Buffer {
public:
    explicit Buffer(const MapiFunctions& functions) noexcept : functions_(functions) {}
    ~Buffer() { reset(); }
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;

    T* get() const noexcept { return data_; }
    T* operator->() const noexcept { return data_; }
    T& operator*() const noexcept { return *data_; }
    explicit operator bool() const noexcept { return data_ != nullptr; }

    // For an out parameter.
    [[nodiscard]] T** put() noexcept {
        reset();
        return &data_;
    }

private:
    void reset() noexcept {
        if (data_ != nullptr) functions_.free_buffer(data_);
        data_ = nullptr;
    }

    const MapiFunctions& functions_;
    T* data_ = nullptr;
};

// A property tag array of one tag, as GetProps and DeleteProps take it.
inline SPropTagArray OneTag(ULONG tag) noexcept {
    SPropTagArray tags{};
    tags.cValues = 1;
    tags.aulPropTag[0] = tag;
    return tags;
}

}  // namespace plugins::mapi
