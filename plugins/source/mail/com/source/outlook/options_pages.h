#pragma once

#include <string>
#include <string_view>

#include "common/loader/service_access.h"

namespace plugins::mail_processing {

// What is offered to Outlook's Options dialog.
struct OptionsPage {
    std::u16string_view program_id;
    std::u16string caption;
};

// The settings' page with the product's own caption, or the page that says that the product cannot
// be reached. Blocks until the product has answered.
OptionsPage ChooseOptionsPage(loader::ServiceAccess& services);

}  // namespace plugins::mail_processing
