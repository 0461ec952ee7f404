#pragma once

#include <cstdint>
#include <string_view>

#include "outlook/version.h"

namespace plugins::mail_processing {

enum class SaveDecision { kNotNeeded, kSave, kHarmful };

// Whether a message that is being sent is saved before it is checked. Outlook 2013 does not
// survive that for the message `shared_entry_id`, empty when there is none. `entry_id()` gives the
// message's own; it is asked for only where it matters.
template <class EntryId>
SaveDecision DecideSave(std::int32_t version, std::u16string_view shared_entry_id, bool saved,
                        const EntryId& entry_id) {
    if (version == major_version::kOutlook2013 && !shared_entry_id.empty() &&
        entry_id() == shared_entry_id) {
        return SaveDecision::kHarmful;
    }
    return saved ? SaveDecision::kNotNeeded : SaveDecision::kSave;
}

}  // namespace plugins::mail_processing
