#include "internal/helpers/hresult_exception.h"

#include <string>
#include <string_view>

#include "vek/core/text.h"
#include "vek/platform/error_info.h"

namespace plugins::helpers {
namespace {

// Winerror.h's E_FAIL: "Unspecified error".
constexpr std::uint32_t kUnspecifiedFailure = 0x80004005u;

}  // namespace

vek::wide_string_t HResultCodeException::Description() const {
    vek::wide_string_t text = Exception::Description();
    if (!text.empty()) text.append(u" ");

    const auto digits = vek::HexDigits<char16_t>(code());
    text.append(u"HRESULT=0x").append({digits.data(), digits.size()});

    const std::u16string reported = vek::platform::TakeErrorDescription();
    if (!reported.empty()) text.append(u" description: ").append(reported);
    return text;
}

void ThrowHResult(hresult_t hr, vek::SourceLocation location) {
    throw HResultCodeException(location, hr);
}

void ThrowLastError(vek::SourceLocation location) {
    const auto error = vek::platform::LastError();
    const bool known = error != vek::platform::system_error::kNone;
    ThrowHResult(known ? HResultFromWin32(error) : static_cast<hresult_t>(kUnspecifiedFailure),
                 location);
}

}  // namespace plugins::helpers
