#pragma once

#include <memory>
#include <utility>

#include "sandbox/outlook/com_object.h"
#include "sandbox/outlook/property_bag.h"
#include "sandbox/outlook/property_holder.h"
#include "sandbox/outlook/property_stream.h"

namespace sandbox::outlook {

// IMAPIProp over a PropertyHolder, which the derived class completes.
template <class Interface, const IID&... kIds>
class PropertyObject : public ComObject<Interface, iid::kProp, kIds...>, public PropertyHolder {
    using Base = ComObject<Interface, iid::kProp, kIds...>;

public:
    HRESULT STDMETHODCALLTYPE GetLastError(HRESULT, ULONG, MAPIERROR** error) final {
        return this->Enter(Call::kGetLastError, [&]() -> HRESULT {
            if (error == nullptr) return MAPI_E_INVALID_PARAMETER;
            *error = nullptr;
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE SaveChanges(ULONG flags) final {
        return EnterOpen(Call::kSaveChanges, [&]() -> HRESULT {
            this->runtime()->NoteSave(flags);
            constexpr ULONG kKnown =
                KEEP_OPEN_READONLY | KEEP_OPEN_READWRITE | FORCE_SAVE | MAPI_DEFERRED_ERRORS;
            if (this->runtime()->Refuses(flags, kKnown)) return MAPI_E_UNKNOWN_FLAGS;
            return Save(flags);
        });
    }

    HRESULT STDMETHODCALLTYPE GetProps(SPropTagArray* tags, ULONG flags, ULONG* count,
                                       SPropValue** values) final {
        return EnterOpen(Call::kGetProps, [&]() -> HRESULT {
            const HRESULT code =
                outlook::GetProps(*this->runtime(), *this, tags, flags, count, values);
            const auto& distort = this->runtime()->distortion().values;
            if (SUCCEEDED(code) && distort) distort(*values, *count);
            return code;
        });
    }

    HRESULT STDMETHODCALLTYPE GetPropList(ULONG flags, SPropTagArray** tags) final {
        return EnterOpen(Call::kGetPropList, [&] {
            return outlook::GetPropList(*this->runtime(), *this, flags, tags);
        });
    }

    HRESULT STDMETHODCALLTYPE OpenProperty(ULONG tag, const IID* id, ULONG options, ULONG flags,
                                           IUnknown** out) final {
        if (out != nullptr) *out = nullptr;
        return EnterOpen(Call::kOpenProperty, [&]() -> HRESULT {
            if (id == nullptr || out == nullptr) return MAPI_E_INVALID_PARAMETER;
            constexpr ULONG kAccess = STGM_READ | STGM_WRITE | STGM_READWRITE;
            if (this->runtime()->Refuses(flags, MAPI_MODIFY | MAPI_CREATE | MAPI_DEFERRED_ERRORS) ||
                this->runtime()->Refuses(options, kAccess))
                return MAPI_E_UNKNOWN_FLAGS;
            if (!(*id == iid::kStream)) return OpenOther(tag, *id, flags, out);
            auto self = vek::RefPtr<Interface>::Share(this);
            return OpenStream(this->runtime(), std::move(self), *this, StreamTag(tag), options,
                              flags, out);
        });
    }

    HRESULT STDMETHODCALLTYPE SetProps(ULONG count, SPropValue* values,
                                       SPropProblemArray** problems) final {
        return EnterOpen(Call::kSetProps, [&] {
            return outlook::SetProps(*this->runtime(), *this, count, values, problems);
        });
    }

    HRESULT STDMETHODCALLTYPE DeleteProps(SPropTagArray* tags, SPropProblemArray** problems) final {
        return EnterOpen(Call::kDeleteProps, [&] {
            return outlook::DeleteProps(*this->runtime(), *this, tags, problems);
        });
    }

    HRESULT STDMETHODCALLTYPE CopyTo(ULONG, const IID*, SPropTagArray*, ULONG, IMAPIProgress*,
                                     const IID*, void*, ULONG, SPropProblemArray**) final {
        return this->Unsupported();
    }
    HRESULT STDMETHODCALLTYPE CopyProps(SPropTagArray*, ULONG, IMAPIProgress*, const IID*, void*,
                                        ULONG, SPropProblemArray**) final {
        return this->Unsupported();
    }
    HRESULT STDMETHODCALLTYPE GetNamesFromIDs(SPropTagArray**, GUID*, ULONG, ULONG*,
                                              MAPINAMEID***) final {
        return this->Unsupported();
    }
    HRESULT STDMETHODCALLTYPE GetIDsFromNames(ULONG, MAPINAMEID**, ULONG, SPropTagArray**) final {
        return this->Unsupported();
    }

    Access access() const final { return access_; }

protected:
    PropertyObject(std::shared_ptr<Runtime> runtime, Access access)
        : Base(std::move(runtime)), access_(access) {}

    // As Enter, for calls that an object refuses once a save has closed it.
    template <class Body>
    HRESULT EnterOpen(Call kind, Body&& body) noexcept {
        return this->Enter(kind, [&]() -> HRESULT {
            return access_ == Access::kClosed ? MAPI_E_INVALID_OBJECT : body();
        });
    }

    void set_access(Access access) { access_ = access; }

private:
    Access access_;
};

// Changes a bag as PropertyHolder::Put says.
inline HRESULT PutInto(PropertyBag& bag, ULONG tag, std::optional<PropertyValue> value) {
    if (value) {
        bag.Set(tag, *std::move(value));
        return S_OK;
    }
    return bag.Erase(tag) ? S_OK : MAPI_E_NOT_FOUND;
}

}  // namespace sandbox::outlook
