#include "sandbox/demo/result_table.h"

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string_view>

#include "sandbox/demo/text_cell.h"

namespace sandbox::demo {
namespace {

constexpr std::size_t kMailWidth = 24;
constexpr std::size_t kEventWidth = 8;
constexpr std::size_t kFoundWidth = 46;
constexpr std::size_t kChangedWidth = 44;
constexpr std::size_t kTimeWidth = 10;
constexpr std::string_view kGap = "  ";
constexpr std::size_t kTableWidth =
    kMailWidth + kEventWidth + kFoundWidth + kChangedWidth + kTimeWidth + 3 * kGap.size();

std::string_view At(const std::vector<std::string>& texts, std::size_t row) {
    return row < texts.size() ? std::string_view(texts[row]) : std::string_view();
}

void PrintRow(std::ostream& out, std::string_view mail, std::string_view event,
              std::string_view found, std::string_view changed, std::string_view time) {
    std::string row;
    row.append(Cell(mail, kMailWidth)).append(kGap).append(Cell(event, kEventWidth)).append(kGap);
    row.append(Cell(found, kFoundWidth)).append(kGap).append(Cell(changed, kChangedWidth));
    row.append(kTimeWidth - std::min(time.size(), kTimeWidth), ' ').append(time);
    out << row.substr(0, row.find_last_not_of(' ') + 1) << '\n';
}

std::string Milliseconds(std::chrono::microseconds time) {
    const auto us = time.count();
    const std::string hundredths = std::to_string(us / 10 % 100);
    return std::to_string(us / 1000) + '.' + (hundredths.size() == 1 ? "0" : "") + hundredths +
           " ms";
}

// Adds a text of which no word is to be lost, in as many rows as it takes.
void AddRows(std::vector<std::string>& rows, std::string_view text) {
    constexpr std::string_view kIndent = "  ";
    for (std::string row;; row = kIndent) {
        const std::size_t room = kFoundWidth - row.size();
        std::size_t end = text.size() <= room ? text.size() : text.rfind(' ', room);
        if (end == 0 || end == text.npos) end = std::min(room, text.size());
        rows.push_back(row.append(text.substr(0, end)));
        if (end == text.size()) return;
        text.remove_prefix(text[end] == ' ' ? end + 1 : end);
    }
}

void PrintResult(std::ostream& out, const Result& result) {
    std::vector<std::string> found = result.found;
    for (const std::string& part : result.left) AddRows(found, "left as it is: " + part);
    for (const std::string& part : result.not_offered) found.push_back("not offered: " + part);
    for (const std::string& part : result.not_checked) AddRows(found, "not checked: " + part);
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
    out << std::string(kTableWidth, '-') << '\n';
    std::size_t changed = 0;
    std::size_t failed = 0;
    std::size_t not_offered = 0;
    std::size_t not_checked = 0;
    for (const Result& result : results) {
        PrintResult(out, result);
        changed += !result.changed.empty();
        failed += !result.failed.empty();
        not_offered += result.not_offered.size();
        not_checked += result.not_checked.size();
    }
    out << '\n'
        << results.size() << " checked, " << changed << " changed, " << failed
        << " with failures (marked by !)";
    if (not_offered != 0) out << "; " << not_offered << " attachments not offered to scanners";
    if (not_checked != 0) out << "; " << not_checked << " parts not checked for other reasons";
    out << '\n';
}

void WriteReport(const std::filesystem::path& path, const std::vector<Result>& results) {
    nlohmann::json messages = nlohmann::json::array();
    for (const Result& result : results) {
        messages.push_back({{"message", result.message},
                            {"event", result.event},
                            {"found", result.found},
                            {"changed", result.changed},
                            {"not_offered", result.not_offered},
                            {"not_checked", result.not_checked},
                            {"left", result.left},
                            {"failed", result.failed},
                            {"microseconds", result.time.count()}});
    }
    std::ofstream file(path, std::ios::binary);
    // Names may hold bytes that are no UTF-8.
    file << nlohmann::json{{"messages", messages}}.dump(1, ' ', true,
                                                        nlohmann::json::error_handler_t::replace)
         << '\n';
    if (!file.flush()) throw std::runtime_error(path.string() + ": cannot be written");
}

}  // namespace sandbox::demo
