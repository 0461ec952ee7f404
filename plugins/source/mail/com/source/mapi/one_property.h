#pragma once

#include "mapi/mapi_memory.h"
#include "vek/core/source_location.h"

namespace plugins::mapi {

// A property tag array of one tag, as GetProps, DeleteProps and SetColumns take it.
SPropTagArray OneTag(ULONG tag) noexcept;

// One property of an object, read with one call of GetProps, and the buffer that it came in. Used
// on the object's thread.
class OneProperty {
public:
    // Raises helpers::HResultCodeException when the call fails. `functions` outlives this.
    OneProperty(const MapiFunctions& functions, IMAPIProp& object, ULONG tag,
                vek::SourceLocation place = vek::SourceLocation::Here());

    // Whether the call succeeded with a warning (MAPI_W_ERRORS_RETURNED): the object does not have
    // the property, or could not give it.
    bool has_errors() const noexcept { return result_ == MAPI_W_ERRORS_RETURNED; }

    // The value under the tag that was asked for; null when there is an error in its place.
    const SPropValue* value() const noexcept;

    // The value that the object gave, perhaps an error (PT_ERROR) or of another type; null when it
    // gave none.
    const SPropValue* given() const noexcept { return count_ != 0 ? buffer_.get() : nullptr; }

private:
    const ULONG tag_;
    Buffer<SPropValue> buffer_;
    ULONG count_ = 0;
    HRESULT result_ = S_OK;
};

}  // namespace plugins::mapi
