#include "vek/core/result_format.h"

#include "vek/core/hex.h"
#include "vek/core/result_text.h"
#include "vek/core/text.h"

namespace vek {
namespace {

void AppendText(std::string& out, result_t code) {
    switch (Facility(code)) {
        case facility::kTaskManager:
            out += TaskManagerText(code).view();
            return;
        case facility::kTaskScheduler:
            out += TaskSchedulerText(code).view();
            return;
        case facility::kSettingsStorage:
            out += SettingsStorageText(code).view();
            return;
        case facility::kServiceManager:
            out += ServiceManagerText(code).view();
            return;
        case facility::kLoader:
            out += LoaderText(code).view();
            return;
        default:
            AppendUtf8(out, ResultText(code));
    }
}

}  // namespace

void AppendResult(std::string& out, result_t code) {
    const auto digits = HexDigits<char>(code);
    out += "result=0x";
    out.append(digits.data(), digits.size());
    out += " (";
    AppendText(out, code);
    out += ')';
}

}  // namespace vek
