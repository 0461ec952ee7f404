#pragma once

#include <string_view>

namespace plugins::mail_processing {

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

}  // namespace plugins::mail_processing
