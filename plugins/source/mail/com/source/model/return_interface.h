#pragma once

#include "model/owner_thread.h"
#include "vek/core/object.h"
#include "vek/core/ref_ptr.h"
#include "vek/core/throw.h"

namespace plugins::mail_processing {

// Queries `object` for Interface. Raises vek::ResultCodeException with the query's code.
template <class Interface>
vek::RefPtr<Interface> QueryFor(vek::IObject& object,
                                vek::SourceLocation place = vek::SourceLocation::Here()) {
    void* found = nullptr;
    const vek::result_t result = object.QueryInterface(Interface::kInterfaceId, &found);
    if (vek::Failed(result)) vek::ThrowResult(result, place);
    return vek::RefPtr<Interface>::Adopt(static_cast<Interface*>(found));
}

// The body of an operation that returns a new object: runs `make` on the owner thread and returns
// the Interface of the object that it made through `out`, with a reference. On failure `*out` is
// null. Any thread.
template <class Interface, class Make>
vek::result_t ReturnInterface(OwnerThread& owner, Interface** out, const Make& make) noexcept {
    if (out == nullptr) return vek::result::kInvalidArgument;
    *out = nullptr;
    // The hand-over may still fail behind `make`: the caller gets the reference with success only.
    vek::RefPtr<Interface> made;
    const vek::result_t result = RunOnOwner(owner, [&] { made = QueryFor<Interface>(*make()); });
    if (vek::Succeeded(result)) *out = made.detach();
    return result;
}

}  // namespace plugins::mail_processing
