#pragma once

#include <cstdint>
#include <string_view>

namespace plugins::mail_processing {

// Major versions of Outlook that are treated in their own way.
namespace major_version {
inline constexpr std::int32_t kOutlook2007 = 12;
inline constexpr std::int32_t kOutlook2010 = 14;
inline constexpr std::int32_t kOutlook2013 = 15;
}  // namespace major_version

// The number before the first dot; 0 when there is none.
std::int32_t MajorVersion(std::u16string_view version) noexcept;

enum class SaveDecision { kNotNeeded, kSave, kHarmful };

// Decides whether a message that is being sent is saved before it is checked. Outlook 2013 crashes
// when the message `shared_entry_id`, empty for none, is saved. `entry_id()` gives the message's
// own; it is asked for only where it matters.
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
