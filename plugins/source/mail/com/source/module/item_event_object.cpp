#include "module/item_event_object.h"

#include <utility>

#include "automation/automation_ids.h"
#include "automation/automation_item.h"
#include "com/border.h"
#include "com/dispatch_win32.h"
#include "com/event_connection_win32.h"
#include "com/query.h"

namespace plugins::dll {
namespace {

using mail_processing::EventConnectionPtr;
using mail_processing::ItemPtr;
using mail_processing::automation::AutomationItem;

constexpr DISPID kItemRead = 1;

// The owner's place at the object's connection point. It keeps the object, which is the owner of
// its handler.
class OwnerConnection final : public mail_processing::EventConnection {
public:
    OwnerConnection(vek::RefPtr<IEventHandle> object, std::shared_ptr<com::Subscribers> sinks)
        : object_(std::move(object)), sinks_(std::move(sinks)) {}
    ~OwnerConnection() override { Unadvise(); }

    HRESULT Advise(IUnknown* owner) noexcept { return sinks_->Advise(owner, &cookie_); }

    HRESULT Unadvise() noexcept override {
        const DWORD cookie = std::exchange(cookie_, 0);
        return cookie != 0 ? sinks_->Unadvise(cookie) : S_OK;
    }

private:
    const vek::RefPtr<IEventHandle> object_;
    const std::shared_ptr<com::Subscribers> sinks_;
    DWORD cookie_ = 0;  // 0 unless advised
};

}  // namespace

// pSource as the handler sees it: its events come to the object.
class ItemEventObject::Source final : public mail_processing::Item {
public:
    Source(IUnknown* object, IDispatch* sink) noexcept
        : object_(vek::RefPtr<IUnknown>::Share(object)), sink_(sink) {}

    vek::RefPtr<IDispatch> Object() const {
        return com::Query<IDispatch>(object_.get(), IID_IDispatch);
    }
    HRESULT GetMailItem(mail_processing::MailItemPtr& mail_item) noexcept override {
        return com::AtBorder([&] { return AutomationItem(Object()).GetMailItem(mail_item); });
    }
    HRESULT Advise(mail_processing::ItemEvents&, EventConnectionPtr& connection) noexcept override {
        return com::AtBorder([&] {
            connection = com::ConnectSink(object_.get(),
                                          mail_processing::automation::iid::kItemEvents10, sink_);
        });
    }

private:
    const vek::RefPtr<IUnknown> object_;
    IDispatch* const sink_;  // the object, which lets go of this at its end
};

ItemEventObject::ItemEventObject(vek::trace::TracerPtr tracer)
    : ItemEventObject(std::move(tracer),
                      std::make_shared<com::Subscribers>(DIID_ItemNotifications)) {}

ItemEventObject::ItemEventObject(vek::trace::TracerPtr tracer,
                                 std::shared_ptr<com::Subscribers> sinks)
    : CountedObject(sinks),
      sinks_(std::move(sinks)),
      handler_(std::make_shared<mail_processing::ItemEventHandler>(std::move(tracer))) {}

void* ItemEventObject::Find(REFIID id) noexcept {
    if (id == IID_IConnectionPointContainer) return static_cast<IConnectionPointContainer*>(this);
    if (id == IID_IDispatch || id == mail_processing::automation::iid::kItemEvents10)
        return static_cast<IDispatch*>(this);
    return id == IID_IEventHandle ? static_cast<IEventHandle*>(this) : nullptr;
}

HRESULT ItemEventObject::Advise(IUnknown* owner, IUnknown* source) noexcept {
    const auto self = vek::RefPtr<ItemEventObject>::Share(this);
    if (handler_->is_advised()) return E_UNEXPECTED;
    return com::AtBorder([&] {
        const auto item = std::make_shared<Source>(source, this);
        advising_ = vek::RefPtr<IUnknown>::Share(owner);
        const HRESULT result = handler_->Advise(*this, item);
        advising_.reset();
        return result;
    });
}

HRESULT ItemEventObject::Unadvise() noexcept {
    const auto self = vek::RefPtr<ItemEventObject>::Share(this);
    return handler_->Unadvise();
}

HRESULT ItemEventObject::GetTypeInfoCount(UINT* count) noexcept {
    if (count == nullptr) return E_POINTER;
    *count = 0;
    return S_OK;
}

HRESULT ItemEventObject::GetTypeInfo(UINT, LCID, ITypeInfo** info) noexcept {
    if (info != nullptr) *info = nullptr;
    return E_NOTIMPL;
}

HRESULT ItemEventObject::Invoke(DISPID event, REFIID id, LCID, WORD kind, DISPPARAMS* parameters,
                                VARIANT*, EXCEPINFO*, UINT* wrong_argument) noexcept {
    if (const HRESULT wrong = com::ExpectMethodCall(id, kind); wrong != S_OK) return wrong;
    const auto self = vek::RefPtr<ItemEventObject>::Share(this);
    return com::AtBorder([&] {
        mail_processing::automation::TellItemEvent(*handler_, event,
                                                   com::EventArguments(parameters, wrong_argument));
    });
}

HRESULT ItemEventObject::Follow(const std::shared_ptr<mail_processing::ItemEventHandler>&,
                                EventConnectionPtr& connection) noexcept {
    return com::AtBorder([&] {
        auto made =
            std::make_unique<OwnerConnection>(vek::RefPtr<IEventHandle>::Share(this), sinks_);
        const HRESULT result = made->Advise(advising_.get());
        if (SUCCEEDED(result)) connection = std::move(made);
        return result;
    });
}

void ItemEventObject::ItemRead(const ItemPtr& item) noexcept {
    static_cast<void>(com::AtBorder([&] {
        com::OwnedVariant argument;
        // The handler has no other items than those of Advise.
        argument.address()->pdispVal = static_cast<const Source&>(*item).Object().detach();
        argument.address()->vt = VT_DISPATCH;
        sinks_->Fire(kItemRead, argument);
    }));
}

HRESULT AdviseItemObject(mail_processing::ItemNotifications& owner, const ItemPtr& item,
                         const vek::trace::TracerPtr& tracer) noexcept {
    return com::AtBorder([&] {
        const auto* const source = dynamic_cast<const AutomationItem*>(item.get());
        if (source == nullptr) return E_INVALIDARG;
        // The owner's, which ends with its sink.
        const auto subscription = std::make_shared<EventConnectionPtr>();
        const auto sink = com::MakeEventSink(
            DIID_ItemNotifications,
            [&owner, subscription](DISPID event, const com::EventArguments& arguments) {
                if (event != kItemRead) return;
                arguments.Expect(1);
                owner.ItemRead(std::make_shared<AutomationItem>(arguments.Object(0)));
            });
        const auto object = vek::MakeObject<ItemEventObject>(tracer);
        HRESULT result = object->Advise(sink.get(), source->object().get());
        // It may have been unloaded from within the call.
        if (FAILED(result) || !object->handler()->is_advised()) return result;
        result = owner.Follow(object->handler(), *subscription);
        if (FAILED(result)) object->Unadvise();
        return result;
    });
}

}  // namespace plugins::dll
