// The road of a message that is being sent.

#include "internal/helpers/hresult_exception.h"
#include "outlook/Addin.h"
#include "outlook/busy_flag.h"
#include "outlook/event_handler.h"
#include "outlook/save_decision.h"

namespace plugins::mail_processing {

void CAddin::OnItemSend(const ItemPtr& item, bool& /*cancel*/) noexcept {
    HandleEvent(environment_.tracer, "OnItemSend",
                [&] { Observe([&](PendingCheck& check) { SendItem(item, check); }); });
}

void CAddin::SendItem(const ItemPtr& item, PendingCheck& check) {
    if (!IsNeedScan(mail_event::kSend)) {
        Trace("OnItemSend: No need to check on send");
        return check.Skip(SkipReason::kNotWanted);
    }
    if (read_in_progress_) {
        Trace("OnItemSend: Item read is already processing this message");
        return check.Skip(SkipReason::kReadInProgress);
    }
    const BusyFlag sending(send_in_progress_);
    const MailItemPtr mail = GetMailItem(item);
    if (!mail) return;
    vek::RefPtr<IMessage> message;
    helpers::CheckGiven(mail->GetMessage(message), message);
    SaveIfNeeded(*mail, IsItemSaved(*mail));

    Trace("OnItemSend: checking message..");
    ProcessMessageWithWaitCursor(message.get(), false, check);
    Trace("OnItemSend: message checked");
}

void CAddin::SaveIfNeeded(MailItem& mail, bool saved) {
    switch (DecideSave(major_version_, shared_message_entry_id_, saved,
                       [&] { return GetMessageEntryId(mail); })) {
        case SaveDecision::kHarmful:
            Trace(
                "Skip save cause error in office 2013. Office app crash after save shared "
                "message");
            break;
        case SaveDecision::kSave:
            Trace("OnItemSend: Mail item is not saved, save it");
            helpers::CheckHResult(mail.Save());
            break;
        case SaveDecision::kNotNeeded:
            break;
    }
}

}  // namespace plugins::mail_processing
