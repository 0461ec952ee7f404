#pragma once

#include <memory>
#include <string>
#include <vector>

#include "object_model/exchange_events.h"
#include "sandbox/outlook/object_model/outlook_item.h"

namespace sandbox::outlook {

// The running Outlook as the object model shows it, and whom it tells of events. Outlook's thread.
class OutlookApplication final : public plugins::mail_processing::Application {
public:
    // `version` is the number before the first dot.
    OutlookApplication(std::shared_ptr<ObjectModel> model, MapiSubsystem& mapi,
                       const std::string& version);

    HRESULT GetName(std::u16string& name) noexcept override;
    HRESULT GetVersion(std::u16string& version) noexcept override;
    HRESULT GetMapiSession(vek::RefPtr<IMAPISession>& session) noexcept override;
    HRESULT GetOpenItems(std::vector<plugins::mail_processing::ItemPtr>& items) noexcept override;
    HRESULT GetSelectedItem(plugins::mail_processing::ItemPtr& item) noexcept override;
    HRESULT AdviseEvents(
        plugins::mail_processing::ApplicationEvents& events,
        plugins::mail_processing::EventConnectionPtr& connection) noexcept override;
    HRESULT AdviseNewerEvents(
        plugins::mail_processing::ApplicationEvents& events,
        plugins::mail_processing::EventConnectionPtr& connection) noexcept override;
    HRESULT AdviseInbox(plugins::mail_processing::FolderEvents& events,
                        plugins::mail_processing::EventConnectionPtr& connection) noexcept override;

    // For Outlook itself.
    int major_version() const { return major_version_; }
    Subscriptions<plugins::mail_processing::ApplicationEvents>& events() { return events_; }
    Subscriptions<plugins::mail_processing::ApplicationEvents>& newer_events() {
        return newer_events_;
    }
    Subscriptions<plugins::mail_processing::FolderEvents>& inbox_events() { return inbox_events_; }

    // The items of the open inspectors, and the one that the explorer has selected.
    std::vector<std::shared_ptr<OutlookItem>>& open_items() { return open_items_; }
    std::shared_ptr<OutlookItem>& selected_item() { return selected_item_; }

private:
    const std::shared_ptr<ObjectModel> model_;
    MapiSubsystem& mapi_;
    const int major_version_;
    const std::u16string version_;
    Subscriptions<plugins::mail_processing::ApplicationEvents> events_;
    Subscriptions<plugins::mail_processing::ApplicationEvents> newer_events_;
    Subscriptions<plugins::mail_processing::FolderEvents> inbox_events_;
    std::vector<std::shared_ptr<OutlookItem>> open_items_;
    std::shared_ptr<OutlookItem> selected_item_;
};

}  // namespace sandbox::outlook
