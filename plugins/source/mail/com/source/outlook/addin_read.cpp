// The road of a message that is opened or shown.

#include "internal/helpers/hresult_exception.h"
#include "outlook/Addin.h"
#include "outlook/busy_flag.h"
#include "outlook/event_handler.h"
#include "outlook/message_properties.h"
#include "outlook/version.h"
#include "vek/core/throw.h"

namespace plugins::mail_processing {
namespace {

namespace trace = vek::trace;

constexpr std::string_view kItemReadImpl = "plugins::mail_processing::CAddin::ItemReadImpl";

}  // namespace

void CAddin::OnItemLoad(const ItemPtr& item) noexcept {
    HandleEvent(environment_.tracer, "OnItemLoad", [&] {
        Observe([&](PendingCheck& check) {
            // Outlook 2013 is left to ask when the item is read.
            if (major_version_ != major_version::kOutlook2013 && !IsNeedScan(mail_event::kRead)) {
                Trace("No need to check on read");
                return check.Skip(SkipReason::kNotWanted);
            }
            if (GetMailItem(item)) items_.Attach(item);
        });
        // A disconnection from within these calls was too early to let go of it.
        if (!application_) items_.Clear();
    });
}

void CAddin::ItemRead(const ItemPtr& item) noexcept {
    try {
        ItemReadImpl(item);
    } catch (...) {
        trace::WriteCurrentException(environment_.tracer);
    }
}

void CAddin::ItemReadImpl(const ItemPtr& item) {
    const trace::Scope scope(environment_.tracer, "OnRead(OU2007)");
    shared_message_entry_id_.clear();
    Observe([&](PendingCheck& check) { ReadItem(item, check); });
}

void CAddin::ReadItem(const ItemPtr& item, PendingCheck& check) {
    if (send_in_progress_) {
        Trace(kItemReadImpl, " Item send is already processing this message");
        return check.Skip(SkipReason::kSendInProgress);
    }
    if (add_in_progress_) {
        Trace(kItemReadImpl, " Item add is already processing this message");
        return check.Skip(SkipReason::kAddInProgress);
    }
    BusyFlag reading(read_in_progress_);
    const MailItemPtr mail = GetMailItem(item);
    if (!mail) return;
    if (major_version_ == major_version::kOutlook2010 && IsMessageJustCreated(*mail)) {
        Trace(kItemReadImpl, " skip check on read. Message just created");
        return check.Skip(SkipReason::kJustCreated);
    }
    if (!IsItemSaved(*mail)) {
        Trace(kItemReadImpl, " message is not saved, exiting");
        return check.Skip(SkipReason::kNotSaved);
    }
    const std::u16string entry_id = GetMessageEntryId(*mail);
    Trace("Process message with id: ", entry_id);
    check.SetEntryId(entry_id);
    // What cannot be checked must not count as checked.
    vek::Check(functions_ != nullptr && processor_ != nullptr);
    if (entry_id.empty()) {
        Trace("ItemRead: Can not get message entry id.");
    } else if (IsCheckedElsewhere(entry_id, check)) {
        return;
    }

    vek::RefPtr<IMessage> message;
    helpers::CheckGiven(mail->GetMessage(message), message);
    if (major_version_ != major_version::kOutlook2013 || !entry_id.empty()) {
        reading.Release();
        Trace("Disable onRead thread guard before test property");
    }
    const auto functions = functions_;
    vek::Check(functions != nullptr);
    TestProperty(*message, *functions);
    reading.Retake();

    if (!IsNeedScan(mail_event::kRead)) {
        Trace("No need to check on read");
        return check.Skip(SkipReason::kNotWanted);
    }
    ProcessMessageWithWaitCursor(message.get(), true, check);
}

// Whether the message is being checked in the background or was just checked here. If neither, it
// counts as checked here from now on.
bool CAddin::IsCheckedElsewhere(const std::u16string& entry_id, PendingCheck& check) {
    const auto async = async_;
    if (async && async->GetCurrentEntryId() == entry_id) {
        Trace("MailItem is being currently processed in background, skipping");
        check.Skip(SkipReason::kInBackground);
        return true;
    }
    Trace("MailItem hasn't been processed in background, processing now");
    if (recently_checked_.Contains(entry_id)) {
        Trace("MailItem ", entry_id, " was recently checked on read, skipping");
        check.Skip(SkipReason::kRecentlyChecked);
        return true;
    }
    recently_checked_.Add(entry_id);
    return false;
}

}  // namespace plugins::mail_processing
