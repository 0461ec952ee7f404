#pragma once

#include <string>
#include <string_view>

#include "object_model/object_model.h"
#include "outlook/connected_addin.h"
#include "outlook/recently_checked_cache.h"

namespace plugins::mail_processing {

// Decides for each event of Outlook whether its message is checked now, later or not at all. Lives
// as long as the add-in; each operation is given the connection that its event came by.
//
// On Outlook's thread; every operation may be entered from within another. All of them raise what
// the calls that they make fail with.
class MessageEvents {
public:
    // `clock` outlives this.
    explicit MessageEvents(vek::platform::Clock& clock) : clock_(clock), recently_checked_(clock) {}

    void OnItemSend(ConnectedAddin& connection, const ItemPtr& item);

    // `entry_ids` as ApplicationEvents has them.
    void OnNewMailEx(ConnectedAddin& connection, const std::u16string* entry_ids);
    void OnItemAdd(ConnectedAddin& connection, const ItemPtr& item);

    void OnItemLoad(ConnectedAddin& connection, const ItemPtr& item);
    // A followed item is shown, or was open when the add-in was connected.
    void ItemReadImpl(ConnectedAddin& connection, const ItemPtr& item);

    // Of the client extension.
    void OnDelivery(ConnectedAddin& connection, mapi::IExchExtCallback* callback);
    void OnRead(ConnectedAddin& connection, mapi::IExchExtCallback* callback);

private:
    void SendItem(ConnectedAddin& connection, const ItemPtr& item, PendingCheck& check);
    void ReadItem(ConnectedAddin& connection, const ItemPtr& item, PendingCheck& check);
    void ReadCallback(ConnectedAddin& connection, mapi::IExchExtCallback* callback,
                      PendingCheck& check);
    void OnNewMail(ConnectedAddin& connection, std::u16string_view entry_id);
    bool IsCheckedElsewhere(ConnectedAddin& connection, const std::u16string& entry_id,
                            PendingCheck& check);
    void SaveIfNeeded(ConnectedAddin& connection, MailItem& mail, bool saved);

    vek::platform::Clock& clock_;
    RecentlyCheckedCache recently_checked_;
    bool send_in_progress_ = false;
    bool read_in_progress_ = false;
    bool add_in_progress_ = false;
    // The message that Outlook 2013 must not save. No event names one.
    std::u16string shared_message_entry_id_;
};

}  // namespace plugins::mail_processing
