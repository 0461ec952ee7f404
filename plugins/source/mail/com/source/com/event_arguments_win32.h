#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "com/ole_values_win32.h"

namespace plugins::com {

// The arguments of an event. They are numbered in the event's order, from 0, though they come in
// the reverse one. Nothing but a number is coerced: an argument that is not of the type asked for
// raises HResultCodeException DISP_E_TYPEMISMATCH, one that was left out DISP_E_PARAMNOTFOUND.
class EventArguments {
public:
    // Null is no arguments. Valid as long as `parameters` is, and `wrong`: where the place of an
    // argument that raises is put, as IDispatch::Invoke numbers them.
    explicit EventArguments(const DISPPARAMS* parameters, UINT* wrong = nullptr) noexcept
        : parameters_(parameters), wrong_(wrong) {}

    // To be called first. Raises DISP_E_BADPARAMCOUNT when there is another number of arguments,
    // DISP_E_NONAMEDARGS when some are named.
    void Expect(std::size_t count) const;

    // Never null.
    vek::RefPtr<IDispatch> Object(std::size_t index) const;
    vek::RefPtr<IUnknown> Unknown(std::size_t index) const;
    // Nothing for a null BSTR, which others take for an empty text.
    std::optional<std::u16string> Text(std::size_t index) const;
    // Any number that fits, as callers without types pass them.
    std::int32_t Number(std::size_t index) const;
    // An object that may be none, or an array of values: only that it is one.
    void ExpectObject(std::size_t index) const;
    void ExpectArray(std::size_t index) const;
    // Those passed by reference; the caller's.
    VARIANT_BOOL& FlagByReference(std::size_t index) const;
    BSTR& TextByReference(std::size_t index) const;
    LONG& NumberByReference(std::size_t index) const;

private:
    // The argument itself, or the one that it refers to; never through a null reference.
    const VARIANT& At(std::size_t index) const;
    const VARIANT& ReferenceAt(std::size_t index, VARTYPE type) const;
    void Require(std::size_t index, bool fits, HRESULT code = DISP_E_TYPEMISMATCH) const;

    const DISPPARAMS* parameters_;
    UINT* wrong_;
};

}  // namespace plugins::com
