#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace sandbox::outlook {

// The kinds of calls of the object model that are counted and can be told to fail.
enum class ObjectCall : std::uint8_t {
    // _Application, its name space and its windows
    kGetApplication,
    kName,
    kVersion,
    kMapiSession,
    kOpenItems,
    kSelectedItem,
    kAdviseEvents,
    kAdviseNewerEvents,
    kAdviseInbox,
    kUnadvise,
    // an item
    kGetMailItem,
    kAdviseItem,
    kEntryId,
    kSaved,
    kCreationTime,
    kMessageClass,
    kClass,
    kSave,
    kMapiObject,
    // the Options dialog
    kPagesAdd,
    // the callback of an Exchange client extension
    kExtVersion,
    kExtSession,
    kExtObject,
    kExtSelection,
    kCount,
};

inline constexpr std::size_t kObjectCallKinds = static_cast<std::size_t>(ObjectCall::kCount);

// As people write it: "MailItem.Save".
std::string_view NameOf(ObjectCall call);
std::optional<ObjectCall> ObjectCallOf(std::string_view name);

}  // namespace sandbox::outlook
