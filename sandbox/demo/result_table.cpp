#include "sandbox/demo/result_table.h"

#include <algorithm>
#include <iomanip>
#include <string_view>

namespace sandbox::demo {
namespace {

constexpr std::size_t kMailWidth = 30;
constexpr std::size_t kEventWidth = 8;
constexpr std::size_t kFoundWidth = 34;
constexpr std::size_t kChangedWidth = 44;

bool IsContinuation(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

// The first `width` characters of a UTF-8 text, filled up with blanks to that width. What would
// move the terminal's cursor is shown as a dot.
std::string Cell(std::string_view text, std::size_t width) {
    std::string cell;
    std::size_t shown = 0;
    for (char c : text) {
        if (!IsContinuation(c) && shown++ == width) break;
        cell.push_back(static_cast<unsigned char>(c) < 0x20 || c == 0x7F ? '.' : c);
    }
    if (shown < width) cell.append(width - shown, ' ');
    return cell;
}

std::string_view At(const std::vector<std::string>& texts, std::size_t row) {
    return row < texts.size() ? std::string_view(texts[row]) : std::string_view();
}

void PrintRow(std::ostream& out, std::string_view mail, std::string_view event,
              std::string_view found, std::string_view changed, std::string_view time) {
    out << Cell(mail, kMailWidth) << "  " << Cell(event, kEventWidth) << "  "
        << Cell(found, kFoundWidth) << "  " << Cell(changed, kChangedWidth) << std::setw(10) << time
        << '\n';
}

std::string Milliseconds(std::chrono::microseconds time) {
    const auto us = time.count();
    const std::string hundredths = std::to_string(us / 10 % 100);
    return std::to_string(us / 1000) + '.' + (hundredths.size() == 1 ? "0" : "") + hundredths +
           " ms";
}

void PrintResult(std::ostream& out, const Result& result) {
    std::vector<std::string> found = result.found;
    for (const std::string& failure : result.failed) found.push_back("! " + failure);
    const std::vector<std::string> nothing{"-"};
    const auto& shown_found = found.empty() ? nothing : found;
    const auto& shown_changed = result.changed.empty() ? nothing : result.changed;
    const std::size_t rows = std::max(shown_found.size(), shown_changed.size());
    for (std::size_t row = 0; row < rows; ++row) {
        PrintRow(out, row == 0 ? result.mail : "", row == 0 ? result.event : "",
                 At(shown_found, row), At(shown_changed, row),
                 row == 0 ? Milliseconds(result.time) : "");
    }
}

}  // namespace

void PrintTable(std::ostream& out, const std::vector<Result>& results) {
    PrintRow(out, "message", "event", "found", "changed", "time");
    out << std::string(kMailWidth + kEventWidth + kFoundWidth + kChangedWidth + 16, '-') << '\n';
    std::size_t changed = 0;
    std::size_t failed = 0;
    for (const Result& result : results) {
        PrintResult(out, result);
        changed += !result.changed.empty();
        failed += !result.failed.empty();
    }
    out << '\n'
        << results.size() << " checked, " << changed << " changed, " << failed
        << " with failures\n";
}

}  // namespace sandbox::demo
