#include "sandbox/outlook/object_model/object_call.h"

#include <algorithm>
#include <array>

namespace sandbox::outlook {
namespace {

constexpr std::array<std::string_view, kObjectCallKinds> kNames = {
    "Application.QueryInterface",
    "Application.Name",
    "Application.Version",
    "NameSpace.MAPIOBJECT",
    "Inspectors.CurrentItem",
    "Explorer.Selection",
    "ApplicationEvents.Advise",
    "ApplicationEvents_11.Advise",
    "ItemsEvents.Advise",
    "Unadvise",
    "Item.QueryInterface",
    "ItemEvents_10.Advise",
    "MailItem.EntryID",
    "MailItem.Saved",
    "MailItem.CreationTime",
    "MailItem.MessageClass",
    "MailItem.Class",
    "MailItem.Save",
    "MailItem.MAPIOBJECT",
    "PropertyPages.Add",
    "ExchExtCallback.GetVersion",
    "ExchExtCallback.GetSession",
    "ExchExtCallback.GetObject",
    "ExchExtCallback.GetSelectionItem",
};

}  // namespace

std::string_view NameOf(ObjectCall call) { return kNames[static_cast<std::size_t>(call)]; }

std::optional<ObjectCall> ObjectCallOf(std::string_view name) {
    const auto found = std::ranges::find(kNames, name);
    if (found == kNames.end()) return std::nullopt;
    return static_cast<ObjectCall>(found - kNames.begin());
}

}  // namespace sandbox::outlook
