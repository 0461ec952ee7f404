#include "sandbox/outlook/host/item_objects.h"

#include <oleauto.h>

#include <algorithm>
#include <array>
#include <utility>

#include "sandbox/outlook/entry_id_text.h"
#include "vek/core/text.h"

namespace sandbox::host {

using outlook::OutlookItem;

namespace {

// Raises an item's events to one sink.
class ItemSubscription final : public Subscription, public plugins::mail_processing::ItemEvents {
public:
    explicit ItemSubscription(Sink sink) : sink_(std::move(sink)) {}

    HRESULT Begin(OutlookItem& item) { return item.Advise(*this, connection_); }
    HRESULT End() noexcept override { return connection_->Unadvise(); }

private:
    void OnRead() noexcept override {
        const Sink sink = sink_;
        sink.Raise(event::kRead);
        VARIANT_BOOL cancel = VARIANT_FALSE;
        VARIANT argument = FlagByReference(cancel);
        sink.Raise(event::kOpen, {&argument, 1});
    }
    void OnUnload() noexcept override { sink_.Raise(event::kUnload); }

    const Sink sink_;
    plugins::mail_processing::EventConnectionPtr connection_;
};

}  // namespace

// A mail item, or an item of another kind, which has the same members here.
class ItemObject final : public AutomationObject {
    enum : DISPID {
        kMessageClass = 0x001A,
        kCreationTime = 0x3007,
        kClass = 0xF00A,
        kEntryId = 0xF01E,
        kSave = 0xF048,
        kSaved = 0xF0A3,
        kMapiObject = 0xF100
    };
    static constexpr std::array kMembers = {Member{kEntryId, L"EntryID", kGet},
                                            Member{kSaved, L"Saved", kGet},
                                            Member{kCreationTime, L"CreationTime", kGet},
                                            Member{kMessageClass, L"MessageClass", kGet},
                                            Member{kClass, L"Class", kGet},
                                            Member{kSave, L"Save", kMethod},
                                            Member{kMapiObject, L"MAPIOBJECT", kGet}};

public:
    ItemObject(ItemObjects& items, std::shared_ptr<OutlookItem> item)
        : AutomationObject(kMembers, iid::kMailItem, {iid::kItemEvents10}),
          items_(items),
          item_(std::move(item)) {
        items_.alive_.emplace(item_.get(), this);
    }
    ~ItemObject() override { items_.alive_.erase(item_.get()); }

    const OutlookItem& item() const { return *item_; }

private:
    HRESULT OnQuery() override {
        plugins::mail_processing::MailItemPtr mail_item;
        return item_->GetMailItem(mail_item);
    }

    HRESULT Call(DISPID member, const Arguments&, VARIANT& result) override {
        HRESULT code = S_OK;
        switch (member) {
            case kEntryId:
            case kMessageClass: {
                std::u16string text;
                code = member == kEntryId ? item_->GetEntryId(text) : item_->GetMessageClass(text);
                if (SUCCEEDED(code)) result = TextValue(text);
                return code;
            }
            case kSaved: {
                code = item_->GetSaved(result.boolVal);
                if (SUCCEEDED(code)) result.vt = VT_BOOL;
                return code;
            }
            case kCreationTime: {
                code = item_->GetCreationTime(result.date);
                if (SUCCEEDED(code)) result.vt = VT_DATE;
                return code;
            }
            case kClass: {
                std::int32_t item_class = 0;
                code = item_->GetClass(item_class);
                if (SUCCEEDED(code)) result = NumberValue(item_class);
                return code;
            }
            case kSave:
                return item_->Save();
            default: {
                vek::RefPtr<IMessage> message;
                code = item_->GetMessage(message);
                if (SUCCEEDED(code)) result = UnknownValue(message);
                return code;
            }
        }
    }

    HRESULT Subscribe(const IID&, Sink sink, std::unique_ptr<Subscription>& out) override {
        auto subscription = std::make_unique<ItemSubscription>(std::move(sink));
        const HRESULT code = subscription->Begin(*item_);
        if (SUCCEEDED(code)) out = std::move(subscription);
        return code;
    }

    ItemObjects& items_;  // outlives every item: the application's own
    const std::shared_ptr<OutlookItem> item_;
};

ItemObjects::ItemObjects(outlook::HostOutlook& outlook) : outlook_(outlook) {}
ItemObjects::~ItemObjects() = default;

vek::RefPtr<IDispatch> ItemObjects::ObjectOf(const std::shared_ptr<OutlookItem>& item) {
    if (!item) return nullptr;
    const auto found = alive_.find(item.get());
    auto object = found != alive_.end() ? vek::RefPtr<ItemObject>::Share(found->second)
                                        : vek::MakeObject<ItemObject>(*this, item);
    const auto& open = outlook_.application().open_items();
    if (std::ranges::find(open, item) != open.end()) open_[item.get()] = object;
    return object;
}

void ItemObjects::Sweep() {
    decltype(open_) closed;
    for (auto place = open_.begin(); place != open_.end();) {
        const auto each = place++;
        if (each->first->phase() == OutlookItem::Phase::kUnloaded)
            closed.insert(open_.extract(each));
    }
}

std::vector<std::string> ItemObjects::Held() {
    Sweep();
    std::vector<std::string> held;
    for (const auto& [item, object] : alive_) {
        // Outlook's own reference, if it has the item open, and this look's.
        const ULONG own = open_.contains(item) ? 1 : 0;
        object->AddRef();
        if (object->Release() == own) continue;
        const std::u16string id = outlook::EntryIdText(item->entry_id());
        held.push_back(id.empty() ? "unsaved" : vek::ToUtf8(id));
    }
    return held;
}

}  // namespace sandbox::host
