#pragma once

// A COM object of the plug-in's own.

#include "com/counted_object.h"

namespace plugins::mapi {

// An interface and the id that it is asked for with.
template <class Type, const IID& kInterfaceId>
struct ComInterface {
    using Interface = Type;
    static constexpr const IID& kId = kInterfaceId;
};

// A counted object whose interfaces are all offered by ids that are known here.
template <class First, class... Rest>
class ComObject : public CountedObject<typename First::Interface, typename Rest::Interface...> {
    void* Find(REFIID id) noexcept final {
        if (id == First::kId) return static_cast<typename First::Interface*>(this);
        void* found = nullptr;
        ((id == Rest::kId ? void(found = static_cast<typename Rest::Interface*>(this)) : void()),
         ...);
        return found;
    }
};

}  // namespace plugins::mapi
