#pragma once

#include <optional>
#include <string_view>

#include "sandbox/demo/scenario/event.h"

namespace sandbox::demo {

// The call that people write as "MailItem.Save" (object_call.h) or, of MAPI, "IMessage.GetProps".
std::optional<HostCall> HostCallOf(std::string_view name);

}  // namespace sandbox::demo
