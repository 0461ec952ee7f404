// The road of a message that has arrived: into the queue of the background thread.

#include "outlook/Addin.h"
#include "outlook/busy_flag.h"
#include "outlook/entry_id_list.h"
#include "outlook/event_handler.h"
#include "vek/core/throw.h"

namespace plugins::mail_processing {

void CAddin::OnNewMailEx(const std::u16string* entry_ids) noexcept {
    HandleEvent(environment_.tracer, "OnNewMailEx", [&] {
        const std::u16string_view list = entry_ids == nullptr ? std::u16string_view() : *entry_ids;
        Trace("OnNewMailEx ", entry_ids == nullptr ? u"<empty>" : list);
        Observe([&](PendingCheck&) {
            if (!IsNeedScan(mail_event::kDelivery)) {
                Trace("OnNewMailEx no need to check");
                ForEachEntryId(list, [&](std::u16string_view entry_id) {
                    PendingCheck(environment_.observer, entry_id).Skip(SkipReason::kNotWanted);
                });
                return;
            }
            ForEachEntryId(list, [&](std::u16string_view entry_id) { OnNewMail(entry_id); });
        });
    });
}

void CAddin::OnNewMail(std::u16string_view entry_id) {
    Trace("OnNewMail");
    if (read_in_progress_) {
        Trace("OnNewMail: Item read is already processing this message");
        return PendingCheck(environment_.observer, entry_id).Skip(SkipReason::kReadInProgress);
    }
    const auto async = async_;
    vek::Check(async != nullptr);
    async->AddMessage(entry_id);
}

void CAddin::OnItemAdd(const ItemPtr& item) noexcept {
    HandleEvent(environment_.tracer, "OnItemAdd", [&] {
        const BusyFlag adding(add_in_progress_);
        Observe([&](PendingCheck& check) {
            const MailItemPtr mail = GetMailItem(item);
            if (!mail) return;
            const std::u16string entry_id = GetMessageEntryId(*mail);
            check.SetEntryId(entry_id);
            if (IsMessageJustCreated(*mail)) {
                Trace("Process item as new mail: ", entry_id);
                OnNewMailEx(&entry_id);
            } else {
                Trace("It is not new mail item. Skip it: ", entry_id);
                check.Skip(SkipReason::kNotNew);
            }
        });
    });
}

}  // namespace plugins::mail_processing
