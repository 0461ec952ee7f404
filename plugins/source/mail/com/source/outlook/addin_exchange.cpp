// The events of the Exchange client extension.

#include "outlook/Addin.h"
#include "outlook/busy_flag.h"
#include "outlook/event_handler.h"
#include "outlook/message_properties.h"
#include "vek/core/throw.h"

namespace plugins::mail_processing {

void CAddin::OnDelivery(mapi::IExchExtCallback* callback) noexcept {
    HandleEvent(environment_.tracer, "OnDelivery", [&] {
        Observe([&](PendingCheck& check) {
            if (!IsNeedScan(mail_event::kDelivery)) {
                Trace("OnDelivery no need to check");
                return check.Skip(SkipReason::kNotWanted);
            }
            const auto functions = functions_;
            vek::Check(functions != nullptr);
            OnNewMail(EntryIdFromCallback(callback, *functions));
        });
    });
}

void CAddin::OnRead(mapi::IExchExtCallback* callback) noexcept {
    HandleEvent(environment_.tracer, "OnRead(OU2003)", [&] {
        Observe([&](PendingCheck& check) {
            if (!IsNeedScan(mail_event::kRead)) {
                Trace("No need to check on read");
                return check.Skip(SkipReason::kNotWanted);
            }
            const BusyFlag reading(read_in_progress_);
            CheckCallback(callback, check);
        });
    });
}

void CAddin::CheckCallback(mapi::IExchExtCallback* callback, PendingCheck& check) {
    const auto functions = functions_;
    const auto processor = processor_;
    vek::Check(functions != nullptr && processor != nullptr);
    // Messages without an id cannot be told from each other.
    const std::u16string entry_id = EntryIdFromCallback(callback, *functions);
    check.SetEntryId(entry_id);
    if (!entry_id.empty()) {
        if (recently_checked_.Contains(entry_id)) {
            Trace("OnRead: message '", entry_id, "' was recently checked on read, skipping");
            return check.Skip(SkipReason::kRecentlyChecked);
        }
        recently_checked_.Add(entry_id);
    }
    processor->ProcessMessageFromCallback(callback, check.HandOn());
}

}  // namespace plugins::mail_processing
