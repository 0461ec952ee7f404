#pragma once

#include "model/owner_thread.h"
#include "vek/core/ref_ptr.h"
#include "vek/core/throw.h"

namespace plugins::mail_processing {

// The interface of `object` with a reference. Raises vek::ResultCodeException with the query's
// code.
template <class Interface>
Interface* QueryFor(vek::IObject& object, vek::SourcePlace place = vek::SourcePlace::Here()) {
    void* found = nullptr;
    const vek::result_t result = object.QueryInterface(Interface::kInterfaceId, &found);
    if (vek::Failed(result)) vek::ThrowResult(result, place);
    return static_cast<Interface*>(found);
}

// Runs `make` on the owner thread and gives the interface of the object that it made. On failure
// `*out` is null.
template <class Interface, class Make>
vek::result_t HandOut(OwnerThread& owner, Interface** out, const Make& make) noexcept {
    if (out == nullptr) return vek::result::kInvalidArgument;
    *out = nullptr;
    return RunOnOwner(owner, [&] { *out = QueryFor<Interface>(*make()); });
}

}  // namespace plugins::mail_processing
