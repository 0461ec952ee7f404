#pragma once

// The questions that the add-in asks of an item before it decides. On Outlook's thread; any of it
// may have Outlook raise further events.

#include <cstdint>
#include <string>

#include "object_model/object_model.h"
#include "vek/platform/clock.h"
#include "vek/trace/tracer.h"

namespace plugins::mail_processing {

// The item as mail, or null when it is an appointment, a task and the like. Raises
// vek::CheckFailedException when there is no item, helpers::HResultCodeException with the code of
// the call that failed.
MailItemPtr GetMailItem(const ItemPtr& item, const vek::trace::TracerPtr& tracer);

// The item's entry id, empty when it has none yet. A failure is traced and gives an empty one.
std::u16string GetMessageEntryId(MailItem& mail, const vek::trace::TracerPtr& tracer);

// Whether the item was created less than two seconds ago. Raises helpers::HResultCodeException.
bool IsMessageJustCreated(MailItem& mail, vek::platform::Clock& clock,
                          const vek::trace::TracerPtr& tracer);

// Whether the item is saved. A failure is traced and gives false.
bool IsItemSaved(MailItem& mail, const vek::trace::TracerPtr& tracer) noexcept;

// The clock's local time, in whole seconds.
ole_date_t LocalOleDate(vek::platform::Clock& clock) noexcept;

// Whole seconds from one time to another, to the nearest; halves go away from zero. Negative when
// `now` is before `created`. An age that no integer can hold gives the nearest that one can; NaN
// gives the greatest.
std::int64_t AgeInSeconds(ole_date_t created, ole_date_t now) noexcept;

}  // namespace plugins::mail_processing
