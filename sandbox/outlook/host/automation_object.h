#pragma once

#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "com/com_object.h"
#include "sandbox/outlook/host/object_ids.h"
#include "vek/core/ref_ptr.h"

namespace sandbox::host {

// What a member is: a property that is read, a method, or, of a collection, both.
inline constexpr WORD kGet = DISPATCH_PROPERTYGET;
inline constexpr WORD kMethod = DISPATCH_METHOD;
inline constexpr WORD kEither = kGet | kMethod;

// A member of an automation object.
struct Member {
    DISPID id;
    const wchar_t* name;
    WORD kind;
    UINT least_arguments = 0;
    UINT most_arguments = 0;
};

// The arguments of a call in the order in which they are declared.
class Arguments {
public:
    explicit Arguments(const DISPPARAMS& parameters) : parameters_(parameters) {}

    UINT count() const { return parameters_.cArgs; }
    // Raises std::invalid_argument for what cannot become that.
    std::int32_t Number(UINT index) const;
    std::u16string Text(UINT index) const;

private:
    VARIANT& At(UINT index) const;

    const DISPPARAMS& parameters_;
};

// Somebody who hears an object's events.
class Sink {
public:
    // Of an object that answers to `events` or to IDispatch. Null when it does neither.
    static vek::RefPtr<IDispatch> Of(IUnknown* object, const IID& events);

    explicit Sink(vek::RefPtr<IDispatch> object) : object_(std::move(object)) {}

    // Raises an event as Outlook does; `arguments` in the order of the array, the last one first.
    // The sink may go within it.
    void Raise(DISPID event, std::span<VARIANT> arguments = {}) const;

private:
    const vek::RefPtr<IDispatch> object_;
};

// A sink's subscription: ends with its object. What Unadvise gives is the unadvising call's code.
class Subscription {
public:
    virtual ~Subscription() = default;
    virtual HRESULT End() noexcept = 0;
};

// An object of Outlook's object model, called late, with its outgoing interfaces. It belongs to the
// thread that made it, and refuses calls from others with RPC_E_WRONG_THREAD; a last reference that
// is released on another ends the process. Construct with vek::MakeObject.
class AutomationObject
    : public plugins::com::ReferenceCounted<IDispatch, IConnectionPointContainer> {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) final;
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) final;
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo** info) final;
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID id, LPOLESTR* names, UINT count, LCID,
                                            DISPID* ids) final;
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID reserved, LCID, WORD kind,
                                     DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                                     UINT* argument) final;
    HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints** out) final;
    HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID events, IConnectionPoint** out) final;

protected:
    // `dual` is the interface that the object's type has, `outgoing` those of its events.
    AutomationObject(std::span<const Member> members, const IID& dual,
                     std::vector<IID> outgoing = {});
    ~AutomationObject() override;

    // A query for the object's own interface: S_OK lets it have it.
    virtual HRESULT OnQuery() { return S_OK; }
    // Runs a member. `result` is empty before. A failure is reported as the call's exception.
    virtual HRESULT Call(DISPID member, const Arguments& arguments, VARIANT& result) = 0;
    // Subscribes a sink; null with a code when that fails.
    virtual HRESULT Subscribe(const IID& /*events*/, Sink /*sink*/,
                              std::unique_ptr<Subscription>& /*subscription*/) {
        return CONNECT_E_CANNOTCONNECT;
    }

    bool IsForeign() const;

private:
    class ConnectionPoint;

    const std::span<const Member> members_;
    const IID dual_;
    const std::vector<IID> outgoing_;
    const DWORD thread_;
    DWORD last_cookie_ = 0;
    std::map<DWORD, std::unique_ptr<Subscription>> subscriptions_;
};

// Values of VARIANTs, which own what they refer to.
VARIANT TextValue(std::u16string_view text);
VARIANT NumberValue(std::int32_t number);
VARIANT ObjectValue(vek::RefPtr<IDispatch> object);
VARIANT UnknownValue(vek::RefPtr<IUnknown> object);
// One that refers to the caller's.
VARIANT FlagByReference(VARIANT_BOOL& flag);

}  // namespace sandbox::host
