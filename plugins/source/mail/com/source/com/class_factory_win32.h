#pragma once

// What COM creates the module's objects by.

#include <cstdint>

#include "com/border.h"
#include "vek/core/ref_ptr.h"

// The order matters: it needs windows.h.
#include <unknwn.h>

namespace plugins::com {

// Creates an object and gives its interface `id` with a reference. On an apartment's thread.
using Creator = HRESULT (*)(REFIID id, void** out) noexcept;

// One that creates an Object without arguments.
template <class Object>
HRESULT CreateObject(REFIID id, void** out) noexcept {
    *out = nullptr;
    return AtBorder([&] { return vek::MakeObject<Object>()->QueryInterface(id, out); });
}

// Gives the interface `id` of a class factory. Its objects are not to be aggregated
// (CLASS_E_NOAGGREGATION). Any thread.
HRESULT MakeClassFactory(Creator create, REFIID id, void** out) noexcept;

// How often clients have locked the module by its factories. Any thread.
std::uint32_t ServerLockCount() noexcept;

// Counts its owner among the objects that clients have created. When the last of them is gone,
// what the module runs for them has nobody to run for. Held as the owner's first member, so that it
// goes last.
class InstanceMark {
public:
    InstanceMark() noexcept;
    ~InstanceMark();
    InstanceMark(const InstanceMark&) = delete;
    InstanceMark& operator=(const InstanceMark&) = delete;

    // How many there are.
    static std::uint32_t Living() noexcept;
    // With those whose end is under way.
    static std::uint32_t Count() noexcept;
    // Has `end` called with the end of the last one, on its thread. To be set before the first.
    static void OnLast(void (*end)() noexcept) noexcept;
};

}  // namespace plugins::com
