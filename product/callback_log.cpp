#include "product/callback_log.h"

#include <algorithm>
#include <utility>

namespace reference_product {
namespace {

constexpr vek::result_t kMapiNotFound = 0x8004010F;  // MAPI_E_NOT_FOUND, mapicode.h

bool IsAbsence(vek::result_t code) {
    return code == vek::result::kNotImplemented || IsMissing(code);
}

}  // namespace

bool IsMissing(vek::result_t code) noexcept {
    return code == vek::result::kNotFound || code == vek::result::kPropertyNotFound ||
           code == kMapiNotFound;
}

bool CallbackLog::Read(std::string_view label, std::string_view operation, vek::result_t code) {
    ++report_.callbacks;
    if (vek::Succeeded(code)) return true;
    if (code == vek::result::kNotImplemented) report_.whole = false;
    if (IsAbsence(code)) return false;
    if (code == vek::result::kNotSupported) {
        report_.not_offered.emplace_back(label.empty() ? operation : label);
    } else {
        Failed(label, operation, code);
    }
    return false;
}

bool CallbackLog::Change(std::string_view label, std::string_view operation, vek::result_t code) {
    ++report_.callbacks;
    if (vek::Succeeded(code)) return true;
    if (!IsAbsence(code)) Failed(label, operation, code);
    return false;
}

void CallbackLog::Failed(std::string_view label, std::string_view operation, vek::result_t code) {
    std::string text(label);
    if (!label.empty()) text += ": ";
    report_.failures.push_back({text.append(operation), code});
    if (vek::Succeeded(report_.result) && vek::Failed(code)) report_.result = code;
}

void CallbackLog::Forgive(std::size_t count) {
    report_.failures.resize(count);
    const auto failed = std::ranges::find_if(report_.failures, vek::Failed, &ScanFailure::code);
    report_.result = failed == report_.failures.end() ? vek::result::kOk : failed->code;
}

bool CallbackLog::IsInDoubt(std::size_t count) const noexcept {
    return std::any_of(
        report_.failures.begin() + static_cast<std::ptrdiff_t>(count), report_.failures.end(),
        [](const ScanFailure& failure) { return failure.code == vek::result::kRemoteCallFailed; });
}

void CallbackLog::NotChecked(std::string_view label, std::string_view why) {
    const auto& said = report_.not_offered;
    if (!said.empty() && said.back() == label) return;  // that is why
    report_.not_checked.push_back(std::string(label).append(": ").append(why));
}

void CallbackLog::Left(std::string_view label) { report_.left.emplace_back(label); }

void CallbackLog::Found(std::string finding) { report_.findings.push_back(std::move(finding)); }

void CallbackLog::Changed(std::string change) { report_.changes.push_back(std::move(change)); }

}  // namespace reference_product
