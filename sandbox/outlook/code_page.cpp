#include "sandbox/outlook/code_page.h"

#include <utility>

#include "sandbox/outlook/store_traits.h"
#include "vek/core/text.h"

namespace sandbox::outlook {
namespace {

// Every page here has ASCII as its first half.
bool IsTheSame(const std::string& text, unsigned code_page) {
    return code_page == StoreTraits::kUtf8 || vek::AsciiRun(text) == text.size();
}

}  // namespace

Content ToCodePage(Content utf8, unsigned code_page) {
    if (IsTheSame(*utf8, code_page)) return utf8;
    return std::make_shared<const std::string>(Encode(*utf8, code_page));
}

Content FromCodePage(Content narrow, unsigned code_page) {
    if (IsTheSame(*narrow, code_page)) return narrow;
    return std::make_shared<const std::string>(Decode(*narrow, code_page));
}

}  // namespace sandbox::outlook
