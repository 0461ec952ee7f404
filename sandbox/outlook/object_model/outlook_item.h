#pragma once

#include <functional>
#include <memory>
#include <string>

#include "object_model/object_model.h"
#include "sandbox/outlook/mapi_subsystem.h"
#include "sandbox/outlook/object_model/subscriptions.h"

namespace sandbox::outlook {

// One item as Outlook has it open: what an event brings. The message is opened when it is first
// asked for. Outlook's thread; held by whoever keeps it beyond the event.
class OutlookItem final : public plugins::mail_processing::Item,
                          public plugins::mail_processing::MailItem,
                          public std::enable_shared_from_this<OutlookItem> {
public:
    struct Traits {
        plugins::mail_processing::ole_date_t created = 0;
        bool is_mail = true;  // otherwise an appointment
    };

    // An item of the store.
    OutlookItem(std::shared_ptr<ObjectModel> model, MapiSubsystem& mapi, std::string entry_id,
                Traits traits);
    // One that is being written, without an entry id until it is saved.
    OutlookItem(std::shared_ptr<ObjectModel> model, MapiSubsystem& mapi, MessageRecord record,
                Traits traits);

    HRESULT GetMailItem(plugins::mail_processing::MailItemPtr& mail_item) noexcept override;
    HRESULT Advise(plugins::mail_processing::ItemEvents& events,
                   plugins::mail_processing::EventConnectionPtr& connection) noexcept override;

    HRESULT GetEntryId(std::u16string& entry_id) noexcept override;
    HRESULT GetSaved(std::int16_t& saved) noexcept override;
    HRESULT GetCreationTime(plugins::mail_processing::ole_date_t& time) noexcept override;
    HRESULT GetMessageClass(std::u16string& message_class) noexcept override;
    HRESULT GetClass(std::int32_t& item_class) noexcept override;
    HRESULT Save() noexcept override;
    HRESULT GetMessage(vek::RefPtr<IMessage>& message) noexcept override;

    // For Outlook itself; none of these is a call that is counted.
    const std::string& entry_id() const { return entry_id_; }
    // While it is told of in ItemLoad it answers its class and message class alone; from its Unload
    // on nothing, and nobody can subscribe any more.
    enum class Phase { kLoading, kOpen, kUnloaded };
    Phase phase() const { return phase_; }
    bool saved() const { return saved_; }
    HRESULT SaveForOutlook();
    // Its life: `tell` raises the ItemLoad of this item, and Unload its own last event.
    void Load(const std::function<void()>& tell);
    void Unload();
    // Raise the events of ItemEvents_10.
    void FireRead();
    void FireUnload();

private:
    // A call of a member: E_FAIL where the item does not answer it now.
    template <class Body>
    HRESULT Ask(ObjectCall member, const Body& body) noexcept;
    vek::RefPtr<IMessage> Message();

    const std::shared_ptr<ObjectModel> model_;
    MapiSubsystem& mapi_;
    std::string entry_id_;
    const Traits traits_;
    vek::RefPtr<IMessage> message_;
    bool saved_;
    Phase phase_ = Phase::kOpen;
    Subscriptions<plugins::mail_processing::ItemEvents> events_;
    const LiveCount live_;
};

}  // namespace sandbox::outlook
