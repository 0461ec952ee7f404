#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "mapi/exchange_extension.h"
#include "object_model/object_model.h"
#include "sandbox/outlook/mapi_subsystem.h"
#include "sandbox/outlook/object_model/outlook_application.h"
#include "sandbox/outlook/object_model/outlook_thread.h"

namespace sandbox::outlook {

// A stand-in Outlook: a store of messages and a thread that raises the events of the object model
// to whoever has subscribed.
//
// Its operations run on Outlook's thread and return when every subscriber has been told. They may
// be called from one other thread, or on Outlook's thread from within an event or an action of the
// call plan: then they are raised at once, inside.
class HostOutlook final : public plugins::mail_processing::ApplicationObject {
public:
    // `version` is "11", "12", "14", "15" or "16". `mapi` outlives this.
    HostOutlook(MapiSubsystem& mapi, const std::string& version,
                ThreadChoice thread = ThreadChoice::kOwn);
    // Unloads what is open still.
    ~HostOutlook();
    HostOutlook(const HostOutlook&) = delete;
    HostOutlook& operator=(const HostOutlook&) = delete;

    // A message arrives: it is in the store, and NewMailEx, the inbox's ItemAdd and, of an Outlook
    // that has client extensions (11 and 12), OnDelivery tell of it. Gives its entry id.
    std::string Deliver(MessageRecord message);

    // A message of the store is shown in an inspector: ItemLoad, the extensions' OnRead and the
    // item's Read. False when it is not in the store.
    bool Open(const std::string& entry_id);

    // The inspectors of the message are closed: the item's Unload. False when there is none.
    bool Close(const std::string& entry_id);

    // A message is written and sent: ItemLoad, ItemSend, then it leaves the drafts and the item is
    // unloaded. An unsaved one is saved by Outlook, unless a subscriber has done that. Gives its
    // entry id; empty when it was cancelled or cannot be saved.
    std::string Send(MessageRecord message, bool saved = true);

    // The pages that subscribers add to the Options dialog: ProgIDs and captions.
    using Pages = std::vector<std::pair<std::u16string, std::u16string>>;
    Pages OpenOptions();

    // The explorer selects a message of the store; none for an empty id.
    void Select(const std::string& entry_id);

    void Quit();

    // Deletes a message for good.
    void Delete(const std::string& entry_id);

    // The entry ids of the messages that were sent.
    std::set<std::string> submitted();

    // Runs something on Outlook's thread, as the add-in's connection is made.
    void Run(const std::function<void()>& body) { thread_.Run(body); }
    bool IsOutlookThread() const { return thread_.IsCurrent(); }

    HRESULT GetApplication(plugins::mail_processing::ApplicationPtr& application) noexcept override;

    // The exported function of an extension's library: makes an extension object; null for none.
    using ExtensionEntryPoint = std::function<vek::RefPtr<plugins::mapi::IExchExt>()>;
    // Has an object of its own made for the session and another for the windows of messages that
    // are read, as versions do that have client extensions, and keeps each that stays there.
    void LoadExtension(const ExtensionEntryPoint& entry_point);
    void UnloadExtension();

    OutlookApplication& application() { return *application_; }
    // For further objects of this Outlook.
    const std::shared_ptr<ObjectModel>& model() const { return model_; }
    CallPlan<ObjectCall>& plan() { return model_->plan; }
    // Items, callbacks and their event connections that somebody still holds; Outlook's own open
    // items among the first.
    std::uint32_t live_items() const { return model_->live_items; }
    std::uint32_t live_connections() const { return model_->live_connections; }
    // Inspectors that are open.
    std::size_t open_items();

private:
    std::shared_ptr<OutlookItem> Load(std::shared_ptr<OutlookItem> item);
    void Unload(const std::shared_ptr<OutlookItem>& item);
    template <class Events>
    void Install(const ExtensionEntryPoint& entry_point, ULONG context, const IID& events,
                 vek::RefPtr<Events>& kept);

    MapiSubsystem& mapi_;
    const std::shared_ptr<ObjectModel> model_ = std::make_shared<ObjectModel>();
    const std::shared_ptr<OutlookApplication> application_;
    // Of the client extension: null where it did not stay.
    vek::RefPtr<plugins::mapi::IExchExtSessionEvents> session_events_;
    vek::RefPtr<plugins::mapi::IExchExtMessageEvents> message_events_;
    std::set<std::string> submitted_;
    OutlookThread thread_;
};

}  // namespace sandbox::outlook
