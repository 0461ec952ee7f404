#pragma once

// Owners of what OLE automation passes around. Any thread, one at a time.

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "mapi/mapi_interfaces.h"
#include "object_model/object_model.h"
#include "vek/core/ref_ptr.h"

// The order matters: it needs windows.h.
#include <oleauto.h>

namespace plugins::com {

// Owns a VARIANT with all that it refers to.
class OwnedVariant {
public:
    OwnedVariant() noexcept { ::VariantInit(&value_); }
    // Raises std::bad_alloc.
    explicit OwnedVariant(std::u16string_view text);
    explicit OwnedVariant(std::int32_t number) noexcept;
    // Adds a reference. Null is a value too.
    explicit OwnedVariant(IUnknown* object) noexcept;
    OwnedVariant(OwnedVariant&& other) noexcept;
    OwnedVariant& operator=(OwnedVariant&&) = delete;
    ~OwnedVariant() { ::VariantClear(&value_); }

    const VARIANT& get() const noexcept { return value_; }
    VARIANT* address() noexcept { return &value_; }

    // Takes the value as a type, coerced if need be and without calling any object's default
    // property. Raise HResultCodeException with VariantChangeTypeEx's code, DISP_E_TYPEMISMATCH for
    // what cannot be that type.
    std::u16string Text() &&;
    std::int16_t Flag() &&;  // a VARIANT_BOOL as it is
    std::int32_t Number() &&;
    mail_processing::ole_date_t Date() &&;
    // Null when the value is no object.
    vek::RefPtr<IDispatch> Object() &&;
    vek::RefPtr<IUnknown> Unknown() &&;

private:
    void Become(VARTYPE type);

    VARIANT value_;
};

// Owns an EXCEPINFO, in which a callee describes its failure.
class OwnedExceptionInfo {
public:
    OwnedExceptionInfo() noexcept = default;
    OwnedExceptionInfo(const OwnedExceptionInfo&) = delete;
    OwnedExceptionInfo& operator=(const OwnedExceptionInfo&) = delete;
    ~OwnedExceptionInfo();

    EXCEPINFO* address() noexcept { return &info_; }

    // Has the callee fill in the description if it put that off, and gives its code;
    // DISP_E_EXCEPTION when it says none.
    HRESULT Code() noexcept;

private:
    EXCEPINFO info_{};
};

}  // namespace plugins::com
