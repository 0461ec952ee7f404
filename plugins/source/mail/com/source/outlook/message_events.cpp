#include "outlook/message_events.h"

#include "internal/helpers/hresult_exception.h"
#include "outlook/mail_item_queries.h"
#include "outlook/message_properties.h"
#include "outlook/outlook_version.h"
#include "vek/core/current_exception.h"
#include "vek/trace/scope.h"

namespace plugins::mail_processing {
namespace {

constexpr std::string_view kItemReadImpl = "plugins::mail_processing::CAddin::ItemReadImpl";

// Raises a flag for as long as a handler is at work. Flags do not count: where a handler is
// entered again from within itself, the inner one lowers the flag on its way out, and the outer
// one goes on without.
class BusyFlag {
public:
    // `flag` outlives this.
    explicit BusyFlag(bool& flag) noexcept : flag_(flag) { flag_ = true; }
    ~BusyFlag() { Release(); }
    BusyFlag(const BusyFlag&) = delete;
    BusyFlag& operator=(const BusyFlag&) = delete;

    // Lowers the flag for good.
    void Release() noexcept {
        if (held_) flag_ = false;
        held_ = false;
    }

    // Raises the flag again, unless it was released: it may have been lowered from within.
    void Retake() noexcept {
        if (held_) flag_ = true;
    }

private:
    bool& flag_;
    bool held_ = true;
};

// Calls `take` with each entry id of a list separated by commas, in order. Empty ones are left
// out.
template <class Take>
void ForEachEntryId(std::u16string_view list, const Take& take) {
    while (!list.empty()) {
        const std::u16string_view id = list.substr(0, list.find(u','));
        if (!id.empty()) take(id);
        list.remove_prefix(id.size() < list.size() ? id.size() + 1 : id.size());
    }
}

// Runs the handling of a message; when it raises before the message was handed on, the observer is
// told.
template <class Handle>
void Observe(PendingCheck&& check, const Handle& handle) {
    try {
        handle(check);
    } catch (...) {
        check.Skip(SkipReason::kFailed, vek::CurrentExceptionResult());
        throw;
    }
}

}  // namespace

void MessageEvents::OnItemSend(ConnectedAddin& connection, const ItemPtr& item) {
    Observe(PendingCheck(connection.observer()),
            [&](PendingCheck& check) { SendItem(connection, item, check); });
}

void MessageEvents::SendItem(ConnectedAddin& connection, const ItemPtr& item, PendingCheck& check) {
    if (!connection.IsNeedScan(mail_event::kSend)) {
        return connection.Skip(check, SkipReason::kNotWanted,
                               "OnItemSend: No need to check on send");
    }
    if (read_in_progress_) {
        return connection.Skip(check, SkipReason::kReadInProgress,
                               "OnItemSend: Item read is already processing this message");
    }
    const BusyFlag sending(send_in_progress_);
    const MailItemPtr mail = GetMailItem(item, connection.tracer());
    if (!mail) return;
    vek::RefPtr<IMessage> message;
    helpers::CheckGiven(mail->GetMessage(message), message);
    SaveIfNeeded(connection, *mail, IsItemSaved(*mail, connection.tracer()));

    connection.Trace("OnItemSend: checking message..");
    connection.ProcessMessageWithWaitCursor(message.get(), kOutgoing, check);
    connection.Trace("OnItemSend: message checked");
}

void MessageEvents::SaveIfNeeded(ConnectedAddin& connection, MailItem& mail, bool saved) {
    switch (DecideSave(connection.major_version(), shared_message_entry_id_, saved,
                       [&] { return GetMessageEntryId(mail, connection.tracer()); })) {
        case SaveDecision::kHarmful:
            connection.Trace(
                "Skip save cause error in office 2013. Office app crash after save shared "
                "message");
            break;
        case SaveDecision::kSave:
            connection.Trace("OnItemSend: Mail item is not saved, save it");
            helpers::CheckHResult(mail.Save());
            break;
        case SaveDecision::kNotNeeded:
            break;
    }
}

void MessageEvents::OnNewMailEx(ConnectedAddin& connection, const std::u16string* entry_ids) {
    const std::u16string_view list = entry_ids == nullptr ? std::u16string_view() : *entry_ids;
    connection.Trace("OnNewMailEx ", entry_ids == nullptr ? u"<empty>" : list);
    const auto skip_all = [&](SkipReason reason, vek::result_t code) {
        ForEachEntryId(list, [&](std::u16string_view entry_id) {
            PendingCheck(connection.observer(), entry_id).Skip(reason, code);
        });
    };
    try {
        if (!connection.IsNeedScan(mail_event::kDelivery)) {
            connection.Trace("OnNewMailEx no need to check");
            return skip_all(SkipReason::kNotWanted, vek::result::kOk);
        }
    } catch (...) {
        skip_all(SkipReason::kFailed, vek::CurrentExceptionResult());
        throw;
    }
    ForEachEntryId(list, [&](std::u16string_view entry_id) {
        TraceExceptions(connection.tracer(), [&] { OnNewMail(connection, entry_id); });
    });
}

void MessageEvents::OnNewMail(ConnectedAddin& connection, std::u16string_view entry_id) {
    connection.Trace("OnNewMail");
    Observe(PendingCheck(connection.observer(), entry_id), [&](PendingCheck& check) {
        if (read_in_progress_) {
            return connection.Skip(check, SkipReason::kReadInProgress,
                                   "OnNewMail: Item read is already processing this message");
        }
        connection.Queue(entry_id);
    });
}

void MessageEvents::OnItemAdd(ConnectedAddin& connection, const ItemPtr& item) {
    const BusyFlag adding(add_in_progress_);
    Observe(PendingCheck(connection.observer()), [&](PendingCheck& check) {
        const MailItemPtr mail = GetMailItem(item, connection.tracer());
        if (!mail) return;
        const std::u16string entry_id = GetMessageEntryId(*mail, connection.tracer());
        check.SetEntryId(entry_id);
        if (!IsMessageJustCreated(*mail, clock_, connection.tracer())) {
            return connection.Skip(check, SkipReason::kNotNew,
                                   "It is not new mail item. Skip it: ", entry_id);
        }
        connection.Trace("Process item as new mail: ", entry_id);
        // The handling of new mail tells of each id, so of none.
        if (entry_id.empty()) check.Skip(SkipReason::kNoEntryId);
        check.HandOn();
        const vek::trace::Scope scope(connection.tracer(), "OnNewMailEx");
        OnNewMailEx(connection, &entry_id);
    });
}

void MessageEvents::OnItemLoad(ConnectedAddin& connection, const ItemPtr& item) {
    Observe(PendingCheck(connection.observer()), [&](PendingCheck& check) {
        // Outlook 2013 is left to ask when the item is read.
        if (connection.major_version() != major_version::kOutlook2013 &&
            !connection.IsNeedScan(mail_event::kRead)) {
            return connection.Skip(check, SkipReason::kNotWanted, "No need to check on read");
        }
        if (GetMailItem(item, connection.tracer())) connection.Follow(item);
    });
}

void MessageEvents::ItemReadImpl(ConnectedAddin& connection, const ItemPtr& item) {
    const vek::trace::Scope scope(connection.tracer(), "OnRead(OU2007)");
    shared_message_entry_id_.clear();
    Observe(PendingCheck(connection.observer()),
            [&](PendingCheck& check) { ReadItem(connection, item, check); });
}

void MessageEvents::ReadItem(ConnectedAddin& connection, const ItemPtr& item, PendingCheck& check) {
    if (send_in_progress_) {
        return connection.Skip(check, SkipReason::kSendInProgress, kItemReadImpl,
                               " Item send is already processing this message");
    }
    if (add_in_progress_) {
        return connection.Skip(check, SkipReason::kAddInProgress, kItemReadImpl,
                               " Item add is already processing this message");
    }
    BusyFlag reading(read_in_progress_);
    const MailItemPtr mail = GetMailItem(item, connection.tracer());
    if (!mail) return;
    if (connection.major_version() == major_version::kOutlook2010 &&
        IsMessageJustCreated(*mail, clock_, connection.tracer())) {
        return connection.Skip(check, SkipReason::kJustCreated, kItemReadImpl,
                               " skip check on read. Message just created");
    }
    if (!IsItemSaved(*mail, connection.tracer())) {
        return connection.Skip(check, SkipReason::kNotSaved, kItemReadImpl,
                               " message is not saved, exiting");
    }
    const std::u16string entry_id = GetMessageEntryId(*mail, connection.tracer());
    connection.Trace("Process message with id: ", entry_id);
    check.SetEntryId(entry_id);
    // A message that cannot be checked must not count as checked.
    connection.functions();
    connection.processor();
    if (entry_id.empty()) {
        connection.Trace("ItemRead: Can not get message entry id.");
    } else if (IsCheckedElsewhere(connection, entry_id, check)) {
        return;
    }

    vek::RefPtr<IMessage> message;
    helpers::CheckGiven(mail->GetMessage(message), message);
    if (connection.major_version() != major_version::kOutlook2013 || !entry_id.empty()) {
        reading.Release();
        connection.Trace("Disable onRead thread guard before test property");
    }
    TestProperty(*message, connection.functions());
    reading.Retake();

    if (!connection.IsNeedScan(mail_event::kRead))
        return connection.Skip(check, SkipReason::kNotWanted, "No need to check on read");
    connection.ProcessMessageWithWaitCursor(message.get(), kIncoming, check);
}

// Whether the message is being checked in the background or was just checked here. If neither, it
// counts as checked here from now on.
bool MessageEvents::IsCheckedElsewhere(ConnectedAddin& connection, const std::u16string& entry_id,
                                       PendingCheck& check) {
    if (connection.IsCheckedInBackground(entry_id)) {
        connection.Skip(check, SkipReason::kInBackground,
                        "MailItem is being currently processed in background, skipping");
        return true;
    }
    connection.Trace("MailItem hasn't been processed in background, processing now");
    if (recently_checked_.Contains(entry_id)) {
        connection.Skip(check, SkipReason::kRecentlyChecked, "MailItem ", entry_id,
                        " was recently checked on read, skipping");
        return true;
    }
    recently_checked_.Add(entry_id);
    return false;
}

void MessageEvents::OnDelivery(ConnectedAddin& connection, mapi::IExchExtCallback* callback) {
    Observe(PendingCheck(connection.observer()), [&](PendingCheck& check) {
        if (!connection.IsNeedScan(mail_event::kDelivery)) {
            return connection.Skip(check, SkipReason::kNotWanted, "OnDelivery no need to check");
        }
        const std::u16string entry_id = EntryIdFromCallback(callback, connection.functions());
        check.HandOn();
        OnNewMail(connection, entry_id);
    });
}

void MessageEvents::OnRead(ConnectedAddin& connection, mapi::IExchExtCallback* callback) {
    Observe(PendingCheck(connection.observer()),
            [&](PendingCheck& check) { ReadCallback(connection, callback, check); });
}

void MessageEvents::ReadCallback(ConnectedAddin& connection, mapi::IExchExtCallback* callback,
                                 PendingCheck& check) {
    if (!connection.IsNeedScan(mail_event::kRead))
        return connection.Skip(check, SkipReason::kNotWanted, "No need to check on read");
    const BusyFlag reading(read_in_progress_);
    // A message that cannot be checked must not count as checked.
    connection.processor();
    const std::u16string entry_id = EntryIdFromCallback(callback, connection.functions());
    check.SetEntryId(entry_id);
    // Messages without an id cannot be told from each other.
    if (!entry_id.empty()) {
        if (recently_checked_.Contains(entry_id)) {
            return connection.Skip(check, SkipReason::kRecentlyChecked, "OnRead: message '",
                                   entry_id, "' was recently checked on read, skipping");
        }
        recently_checked_.Add(entry_id);
    }
    connection.ProcessMessageWithWaitCursor(callback, check);
}

}  // namespace plugins::mail_processing
