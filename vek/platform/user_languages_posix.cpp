#include "vek/platform/user_languages.h"

#include <algorithm>

#include "vek/platform/environment.h"

namespace vek::platform {

std::string UserLanguages() {
    for (const char* const name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        std::string locale = GetEnvironment(name).value_or("");
        if (locale.empty()) continue;
        // Such as "de_AT.UTF-8@euro".
        locale.resize(std::min(locale.size(), locale.find_first_of(".@")));
        if (locale == "C" || locale == "POSIX") return {};
        std::ranges::replace(locale, '_', '-');
        return locale;
    }
    return {};
}

}  // namespace vek::platform
