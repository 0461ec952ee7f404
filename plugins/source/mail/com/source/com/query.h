#pragma once

#include "internal/helpers/hresult_exception.h"
#include "mapi/interface_ids.h"
#include "vek/core/ref_ptr.h"

namespace plugins::com {

// The interface `id` of `object`. Raises HResultCodeException: E_POINTER when there is no object,
// else the query's code.
template <class Interface>
vek::RefPtr<Interface> Query(IUnknown* object, const IID& id) {
    if (object == nullptr) helpers::ThrowHResult(E_POINTER);
    vek::RefPtr<Interface> found;
    helpers::CheckGiven(object->QueryInterface(id, found.put_void()), found);
    return found;
}

}  // namespace plugins::com
