#include "product/product_log.h"

#include <memory>
#include <mutex>
#include <string>

#include "product/state/rotating_file.h"
#include "vek/platform/clock.h"

namespace reference_product {
namespace {

class LogFile {
public:
    explicit LogFile(const std::filesystem::path& file) : file_(file) {}

    void Write(std::string_view text) noexcept {
        try {
            auto& clock = vek::platform::TheClock();
            std::string entry;
            vek::platform::AppendDateAndTime(
                entry, vek::platform::ToCalendar(clock.ToLocal(clock.UtcNow())));
            entry.append("  ").append(text);
            if (!text.ends_with('\n')) entry += '\n';
            const std::lock_guard guard(lock_);
            file_.Append(entry);
        } catch (...) {  // NOLINT(bugprone-empty-catch): a lost entry disturbs nobody
        }
    }

private:
    std::mutex lock_;  // guards the file
    RotatingFile file_;
};

}  // namespace

Log OpenLog(const std::filesystem::path& file) {
    return [log = std::make_shared<LogFile>(file)](std::string_view text) { log->Write(text); };
}

}  // namespace reference_product
