#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "com/ole_values_win32.h"

namespace plugins::com {

// The arguments of an event. They are numbered in the event's order, from 0, though they come in
// the reverse one. Nothing is coerced: an argument that is not of the type asked for raises
// HResultCodeException DISP_E_TYPEMISMATCH.
class EventArguments {
public:
    // Null is no arguments. Valid as long as `parameters` is.
    explicit EventArguments(const DISPPARAMS* parameters) noexcept : parameters_(parameters) {}

    // To be called first. Raises DISP_E_BADPARAMCOUNT when there is another number of arguments,
    // DISP_E_NONAMEDARGS when some are named.
    void Expect(std::size_t count) const;

    // Never null.
    vek::RefPtr<IDispatch> Object(std::size_t index) const;
    vek::RefPtr<IUnknown> Unknown(std::size_t index) const;
    // Nothing for a null BSTR, which others take for an empty text.
    std::optional<std::u16string> Text(std::size_t index) const;
    // One passed by reference; the caller's.
    VARIANT_BOOL& FlagByReference(std::size_t index) const;

private:
    // The argument itself, or the one that it refers to; never through a null reference.
    const VARIANT& At(std::size_t index) const;

    const DISPPARAMS* parameters_;
};

}  // namespace plugins::com
