#pragma once

// Owners of what MAPI allocates.

#include "mapi/mapi_functions.h"
#include "mapi/mapi_interfaces.h"

namespace plugins::mapi {

// Owns a T that MAPI gave through an out parameter, and gives it back with the function of the
// table that kFree names. `functions` outlives it.
template <class T, auto kFree>
class MapiOwned {
public:
    explicit MapiOwned(const MapiFunctions& functions) noexcept : functions_(functions) {}
    ~MapiOwned() { reset(); }
    MapiOwned(const MapiOwned&) = delete;
    MapiOwned& operator=(const MapiOwned&) = delete;

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
        if (data_ != nullptr) (functions_.*kFree)(data_);
        data_ = nullptr;
    }

    const MapiFunctions& functions_;
    T* data_ = nullptr;
};

// A buffer, freed with MAPIFreeBuffer.
template <class T>
using Buffer = MapiOwned<T, &MapiFunctions::free_buffer>;

// The rows of a table, freed with FreeProws.
using RowSet = MapiOwned<SRowSet, &MapiFunctions::free_prows>;

}  // namespace plugins::mapi
