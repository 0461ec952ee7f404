#include "sandbox/outlook/host/application_object.h"

#include <oleauto.h>

#include <array>
#include <functional>
#include <utility>

#include "com/listeners.h"

namespace sandbox::host {
namespace {

namespace mail_processing = plugins::mail_processing;
using mail_processing::EventConnectionPtr;
using mail_processing::ItemPtr;
using outlook::ObjectCall;
using outlook::OutlookItem;

constexpr std::int32_t kInboxFolder = 6;  // olFolderInbox

// An event's argument, released when the event has ended.
class OwnedArgument {
public:
    explicit OwnedArgument(VARIANT value) : value_(value) {}
    ~OwnedArgument() { ::VariantClear(&value_); }
    OwnedArgument(const OwnedArgument&) = delete;
    OwnedArgument& operator=(const OwnedArgument&) = delete;

    VARIANT& get() { return value_; }

private:
    VARIANT value_;
};

vek::RefPtr<IDispatch> ObjectOf(ItemObjects& items, const ItemPtr& item) {
    return items.ObjectOf(std::dynamic_pointer_cast<OutlookItem>(item));
}

// The pages of the Options dialog, for as long as it asks for them.
class PagesObject final : public AutomationObject {
    static constexpr std::array kMembers = {Member{0x5F, L"Add", kMethod, 1, 2},
                                            Member{0x50, L"Count", kGet},
                                            Member{0x51, L"Item", kEither, 1, 1}};

public:
    explicit PagesObject(mail_processing::PropertyPages& pages)
        : AutomationObject(kMembers, iid::kPropertyPages), pages_(&pages) {}

    void Close() { pages_ = nullptr; }

private:
    HRESULT Call(DISPID member, const Arguments& arguments, VARIANT& result) override {
        if (member == 0x50) {
            result = NumberValue(static_cast<std::int32_t>(added_.size()));
            return S_OK;
        }
        if (member == 0x51) {
            const auto index = static_cast<std::size_t>(arguments.Number(0)) - 1;
            if (index >= added_.size()) return DISP_E_BADINDEX;
            result = TextValue(added_[index]);
            return S_OK;
        }
        if (pages_ == nullptr) return E_FAIL;
        const std::u16string page = arguments.Text(0);
        const HRESULT code =
            pages_->Add(page, arguments.count() > 1 ? arguments.Text(1) : std::u16string());
        if (SUCCEEDED(code)) added_.push_back(page);
        return code;
    }

    mail_processing::PropertyPages* pages_;
    std::vector<std::u16string> added_;
};

// Raises the application's events to one sink of either interface.
class ApplicationSubscription final : public Subscription,
                                      public mail_processing::ApplicationEvents {
public:
    ApplicationSubscription(std::shared_ptr<ItemObjects> items, Sink sink)
        : items_(std::move(items)), sink_(std::move(sink)) {}

    HRESULT Begin(bool newer) {
        outlook::OutlookApplication& application = items_->outlook().application();
        if (!newer) return application.AdviseEvents(*this, connection_);
        const HRESULT code = application.AdviseNewerEvents(*this, connection_);
        // It has the older events as well.
        if (SUCCEEDED(code)) older_ = application.events().Listen(*this);
        return code;
    }
    HRESULT End() noexcept override {
        older_.reset();
        return connection_->Unadvise();
    }

    void Raise(DISPID event) const { Sink(sink_).Raise(event); }

private:
    void OnItemSend(const ItemPtr& item, bool& cancel) noexcept override {
        VARIANT_BOOL flag = cancel ? VARIANT_TRUE : VARIANT_FALSE;
        OwnedArgument object(ObjectValue(ObjectOf(*items_, item)));
        std::array arguments = {FlagByReference(flag), object.get()};
        sink_.Raise(event::kItemSend, arguments);
        cancel = flag != VARIANT_FALSE;
    }
    void OnOptionsPagesAdd(mail_processing::PropertyPages& pages) noexcept override {
        const auto object = vek::MakeObject<PagesObject>(pages);
        OwnedArgument argument(ObjectValue(object));
        sink_.Raise(event::kOptionsPagesAdd, {&argument.get(), 1});
        object->Close();
    }
    void OnQuit() noexcept override { Raise(event::kQuit); }
    void OnNewMailEx(const std::u16string* entry_ids) noexcept override {
        const Sink sink = sink_;
        OwnedArgument argument(TextValue(*entry_ids));
        sink.Raise(event::kNewMailEx, {&argument.get(), 1});
        sink.Raise(event::kNewMail);
    }
    void OnItemLoad(const ItemPtr& item) noexcept override {
        OwnedArgument argument(ObjectValue(ObjectOf(*items_, item)));
        sink_.Raise(event::kItemLoad, {&argument.get(), 1});
    }

    const std::shared_ptr<ItemObjects> items_;
    const Sink sink_;
    EventConnectionPtr connection_, older_;
};

// Raises the events of the inbox to one sink.
class FolderSubscription final : public Subscription, public mail_processing::FolderEvents {
public:
    FolderSubscription(std::shared_ptr<ItemObjects> items, Sink sink)
        : items_(std::move(items)), sink_(std::move(sink)) {}

    HRESULT Begin() { return items_->outlook().application().AdviseInbox(*this, connection_); }
    HRESULT End() noexcept override { return connection_->Unadvise(); }

private:
    void OnItemAdd(const ItemPtr& item) noexcept override {
        OwnedArgument argument(ObjectValue(ObjectOf(*items_, item)));
        sink_.Raise(event::kItemAdd, {&argument.get(), 1});
    }

    const std::shared_ptr<ItemObjects> items_;
    const Sink sink_;
    EventConnectionPtr connection_;
};

// The items of the windows, one after the other.
template <class At>
class CollectionObject final : public AutomationObject {
    static constexpr std::array kMembers = {Member{0x50, L"Count", kGet},
                                            Member{0x51, L"Item", kEither, 1, 1}};

public:
    // `at` gives the object at a place from 0, null behind the last.
    CollectionObject(const IID& dual, std::function<std::size_t()> count, At at)
        : AutomationObject(kMembers, dual), count_(std::move(count)), at_(std::move(at)) {}

private:
    HRESULT Call(DISPID member, const Arguments& arguments, VARIANT& result) override {
        if (member == 0x50) {
            result = NumberValue(static_cast<std::int32_t>(count_()));
            return S_OK;
        }
        const auto index = static_cast<std::size_t>(arguments.Number(0)) - 1;
        if (index >= count_()) return DISP_E_BADINDEX;
        result = ObjectValue(at_(index));
        return S_OK;
    }

    const std::function<std::size_t()> count_;
    const At at_;
};

template <class At>
vek::RefPtr<IDispatch> MakeCollection(const IID& dual, std::function<std::size_t()> count, At at) {
    return vek::MakeObject<CollectionObject<At>>(dual, std::move(count), std::move(at));
}

// An object with one property that is an object.
class HolderObject final : public AutomationObject {
public:
    using Get = std::function<HRESULT(VARIANT& result)>;
    HolderObject(const IID& dual, const Member& member, Get get)
        : AutomationObject({&member_, 1}, dual), member_(member), get_(std::move(get)) {}

private:
    HRESULT Call(DISPID, const Arguments&, VARIANT& result) override { return get_(result); }

    const Member member_;
    const Get get_;
};

// The items of the inbox.
class InboxItems final : public AutomationObject {
    static constexpr std::array kMembers = {Member{0x50, L"Count", kGet}};

public:
    explicit InboxItems(std::shared_ptr<ItemObjects> items)
        : AutomationObject(kMembers, IID_IDispatch, {iid::kItemsEvents}),
          items_(std::move(items)) {}

private:
    HRESULT Call(DISPID, const Arguments&, VARIANT& result) override {
        result = NumberValue(0);
        return S_OK;
    }
    HRESULT Subscribe(const IID&, Sink sink, std::unique_ptr<Subscription>& out) override {
        auto subscription = std::make_unique<FolderSubscription>(items_, std::move(sink));
        const HRESULT code = subscription->Begin();
        if (SUCCEEDED(code)) out = std::move(subscription);
        return code;
    }

    const std::shared_ptr<ItemObjects> items_;
};

class NameSpaceObject final : public AutomationObject {
    static constexpr std::array kMembers = {Member{0xF100, L"MAPIOBJECT", kGet},
                                            Member{0x210B, L"GetDefaultFolder", kMethod, 1, 1}};

public:
    explicit NameSpaceObject(std::shared_ptr<ItemObjects> items)
        : AutomationObject(kMembers, iid::kNameSpace), items_(std::move(items)) {}

private:
    HRESULT Call(DISPID member, const Arguments& arguments, VARIANT& result) override {
        if (member == 0xF100) {
            vek::RefPtr<IMAPISession> session;
            const HRESULT code = items_->outlook().application().GetMapiSession(session);
            if (SUCCEEDED(code)) result = UnknownValue(session);
            return code;
        }
        if (arguments.Number(0) != kInboxFolder) return E_INVALIDARG;
        static constexpr Member kItems{0x3100, L"Items", kGet};
        result = ObjectValue(vek::MakeObject<HolderObject>(
            iid::kFolder, kItems, [items = items_](VARIANT& out) -> HRESULT {
                out = ObjectValue(vek::MakeObject<InboxItems>(items));
                return S_OK;
            }));
        return S_OK;
    }

    const std::shared_ptr<ItemObjects> items_;
};

class Application final : public ApplicationObject {
    enum : DISPID {
        kGetNamespace = 0x0110,
        kActiveExplorer = 0x0111,
        kActiveInspector = 0x0112,
        kVersion = 0x0116,
        kInspectors = 0x0118,
        kName = 0x3001,
        kSession = 0xF00B
    };
    static constexpr std::array kMembers = {Member{kName, L"Name", kGet},
                                            Member{kVersion, L"Version", kGet},
                                            Member{kGetNamespace, L"GetNamespace", kMethod, 1, 1},
                                            Member{kActiveExplorer, L"ActiveExplorer", kMethod},
                                            Member{kActiveInspector, L"ActiveInspector", kMethod},
                                            Member{kSession, L"Session", kGet},
                                            Member{kInspectors, L"Inspectors", kGet}};

public:
    explicit Application(std::shared_ptr<ItemObjects> items)
        : ApplicationObject(kMembers, iid::kApplication,
                            {iid::kApplicationEvents, iid::kApplicationEvents11}),
          items_(std::move(items)) {}

    void Raise(DISPID event) override {
        const auto list = listening_;
        list->Fire([&](const ApplicationSubscription& each) { each.Raise(event); });
    }

private:
    // A subscription that is in the list besides.
    class Listed final : public Subscription {
    public:
        Listed(std::unique_ptr<ApplicationSubscription> subscription,
               std::shared_ptr<plugins::com::Listeners<ApplicationSubscription*>> list)
            : subscription_(std::move(subscription)),
              listed_(plugins::com::Listen(std::move(list), subscription_.get())) {}
        HRESULT End() noexcept override { return subscription_->End(); }

    private:
        const std::unique_ptr<ApplicationSubscription> subscription_;
        const EventConnectionPtr listed_;
    };

    HRESULT OnQuery() override {
        mail_processing::ApplicationPtr application;
        return items_->outlook().GetApplication(application);
    }

    HRESULT Call(DISPID member, const Arguments& arguments, VARIANT& result) override {
        outlook::OutlookApplication& application = items_->outlook().application();
        switch (member) {
            case kName:
            case kVersion: {
                std::u16string text;
                const HRESULT code =
                    member == kName ? application.GetName(text) : application.GetVersion(text);
                if (SUCCEEDED(code)) result = TextValue(text);
                return code;
            }
            case kGetNamespace:
                if (arguments.Text(0) != u"MAPI") return E_INVALIDARG;
                [[fallthrough]];
            case kSession:
                result = ObjectValue(vek::MakeObject<NameSpaceObject>(items_));
                return S_OK;
            case kActiveExplorer:
                result = ObjectValue(Explorer());
                return S_OK;
            case kActiveInspector:
                result = ObjectValue(application.open_items().empty()
                                         ? nullptr
                                         : Inspector(application.open_items().size() - 1));
                return S_OK;
            default:
                result = ObjectValue(MakeCollection(
                    iid::kInspectors,
                    [items = items_] { return items->outlook().application().open_items().size(); },
                    [self = vek::RefPtr<Application>::Share(this)](std::size_t index) {
                        return self->Inspector(index);
                    }));
                return S_OK;
        }
    }

    vek::RefPtr<IDispatch> Inspector(std::size_t index) {
        static constexpr Member kCurrentItem{0x2102, L"CurrentItem", kGet};
        const auto item = items_->outlook().application().open_items().at(index);
        return vek::MakeObject<HolderObject>(
            iid::kInspector, kCurrentItem, [items = items_, item](VARIANT& out) {
                return outlook::Enter(*items->outlook().model(), ObjectCall::kOpenItems,
                                      [&]() -> HRESULT {
                                          out = ObjectValue(items->ObjectOf(item));
                                          return S_OK;
                                      });
            });
    }

    vek::RefPtr<IDispatch> Explorer() {
        static constexpr Member kSelection{0x2202, L"Selection", kGet};
        return vek::MakeObject<HolderObject>(
            iid::kExplorer, kSelection, [items = items_](VARIANT& out) -> HRESULT {
                ItemPtr item;
                const HRESULT code = items->outlook().application().GetSelectedItem(item);
                if (FAILED(code)) return code;
                out = ObjectValue(MakeCollection(
                    iid::kSelection, [item] { return item ? 1u : 0u; },
                    [items, item](std::size_t) { return ObjectOf(*items, item); }));
                return S_OK;
            });
    }

    HRESULT Subscribe(const IID& events, Sink sink, std::unique_ptr<Subscription>& out) override {
        auto subscription = std::make_unique<ApplicationSubscription>(items_, std::move(sink));
        const HRESULT code = subscription->Begin(events == iid::kApplicationEvents11);
        if (SUCCEEDED(code)) out = std::make_unique<Listed>(std::move(subscription), listening_);
        return code;
    }

    const std::shared_ptr<ItemObjects> items_;
    const std::shared_ptr<plugins::com::Listeners<ApplicationSubscription*>> listening_ =
        std::make_shared<plugins::com::Listeners<ApplicationSubscription*>>();
};

}  // namespace

vek::RefPtr<ApplicationObject> ApplicationObject::Make(std::shared_ptr<ItemObjects> items) {
    return vek::MakeObject<Application>(std::move(items));
}

vek::RefPtr<IDispatch> MakeAddinEntry(std::u16string prog_id) {
    static constexpr Member kProgId{0x0003, L"ProgId", kGet};
    return vek::MakeObject<HolderObject>(IID_IDispatch, kProgId,
                                         [prog_id = std::move(prog_id)](VARIANT& out) -> HRESULT {
                                             out = TextValue(prog_id);
                                             return S_OK;
                                         });
}

}  // namespace sandbox::host
