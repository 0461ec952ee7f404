#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "outlook/connected_addin.h"
#include "outlook/message_events.h"
#include "vek/core/object.h"

namespace plugins::mail_processing {

// The add-in: connects to Outlook, hears its events and has MessageEvents decide what is checked.
// On Outlook's thread; every handler may be entered from within another. No handler raises, and no
// failure of a check keeps Outlook from what it does. One that is held by shared_ptr may be let go
// of from within a handler: it stays until that returns.
class CAddin final : public AddinEvents, public std::enable_shared_from_this<CAddin> {
public:
    explicit CAddin(AddinEnvironment environment);
    // As OnDisconnection; never from within a handler.
    ~CAddin();
    CAddin(const CAddin&) = delete;
    CAddin& operator=(const CAddin&) = delete;

    // Subscribes to Outlook's events, checks what is open already and starts the background
    // thread. E_FAIL when `object` is not Outlook, the failed call's code when subscribing or
    // creating the extension object fails; nothing stays advised then. When it is connected
    // already, that connection is ended first. E_ABORT when it is disconnected from within one of
    // the calls made here; a connection made from there stays.
    HRESULT OnConnection(ApplicationObject& object) noexcept;

    // Unsubscribes and ends the background thread, every step even when another fails. A connection
    // made from within stays.
    void OnDisconnection() noexcept;

    void OnItemSend(const ItemPtr& item, bool& cancel) noexcept override;
    void OnOptionsPagesAdd(PropertyPages& pages) noexcept override;
    void OnQuit() noexcept override;
    void OnNewMailEx(const std::u16string* entry_ids) noexcept override;
    void OnItemLoad(const ItemPtr& item) noexcept override;
    void OnItemAdd(const ItemPtr& item) noexcept override;
    void OnDelivery(mapi::IExchExtCallback* callback) noexcept override;
    void OnRead(mapi::IExchExtCallback* callback) noexcept override;
    void OnItemRead(const ItemPtr& item) noexcept override;

    // For the Options page; null unless connected.
    std::shared_ptr<ProductSettingsProvider> settings() const noexcept;

    // The item selected in the active window; null when there is none or it cannot be had.
    ItemPtr GetSelectionItem() noexcept;

private:
    void Replace(std::shared_ptr<ConnectedAddin> next) noexcept;
    void CheckOpenItems(ConnectedAddin& connection, const std::vector<ItemPtr>& items);
    template <class Handler>
    void Handle(std::string_view name, const Handler& handler) noexcept;

    const vek::LiveObjectMark mark_;
    const AddinEnvironment environment_;
    MessageEvents message_events_;
    // A connection is built aside and published when it is whole. Until then it is known only to be
    // ended, and to be told that Outlook quits.
    std::shared_ptr<ConnectedAddin> making_;
    std::shared_ptr<ConnectedAddin> connection_;
};

}  // namespace plugins::mail_processing
