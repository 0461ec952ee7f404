#include "sandbox/demo/scenario/scenario_table.h"

#include <algorithm>
#include <cstdio>

#include "sandbox/demo/text_cell.h"

namespace sandbox::demo {
namespace {

constexpr std::size_t kEventWidth = 30;
constexpr std::size_t kOutcomeWidth = 50;
constexpr std::size_t kSubjectWidth = 32;

bool IsSend(const Row& row) { return row.event.starts_with("send "); }

bool HasMessage(const Row& row) {
    return IsSend(row) || row.event.starts_with("open ") || row.event.starts_with("deliver ");
}

std::string Joined(const std::vector<std::string>& texts) {
    std::string joined;
    for (const std::string& text : texts) joined += (joined.empty() ? "" : ", ") + text;
    return joined;
}

std::string MillisecondText(std::chrono::microseconds time, int digits) {
    char text[32];
    std::snprintf(text, sizeof text, "%.*f ms", digits, static_cast<double>(time.count()) / 1000);
    return text;
}

void PrintRow(std::ostream& out, std::string_view time, std::string_view held,
              std::string_view event, std::string_view outcome, std::string_view subject) {
    std::string row(10 - std::min<std::size_t>(time.size(), 10), ' ');
    row.append(time).append(11 - std::min<std::size_t>(held.size(), 11), ' ').append(held);
    row.append("  ").append(Cell(event, kEventWidth)).append("  ");
    row.append(Cell(outcome, kOutcomeWidth)).append("  ").append(Cell(subject, kSubjectWidth));
    out << row.substr(0, row.find_last_not_of(' ') + 1) << '\n';
}

}  // namespace

void Totals::Add(const Row& row) {
    ++events;
    nested += row.depth != 0;
    if (row.checks == 0) {
        not_checked += HasMessage(row);
    } else if (!row.is_checked()) {
        ++check_failed;
    } else {
        (row.in_background ? in_background : IsSend(row) ? on_send : on_read) += 1;
    }
    with_failures += !row.failures.empty();
    held_long += row.held > kLongestHold;
    longest = std::max(longest, row.held);
}

std::string InWords(const Row& row) {
    std::string words;
    if (row.checks != 0) {
        words = row.is_checked() ? "checked " : "check failed ";
        words += row.in_background ? "in background" : IsSend(row) ? "on send" : "on read";
    } else if (!row.notes.empty()) {
        words = "skipped: " + Joined(row.notes);
    } else if (row.queued) {
        words = "queued";
    } else if (HasMessage(row)) {
        words = "not checked";
    }
    if (!row.failures.empty()) {
        words += (words.empty() ? "! " : ", ! ") + row.failures.front();
        if (row.failures.size() > 1)
            words += " and " + std::to_string(row.failures.size() - 1) + " more";
    }
    return words.empty() ? "-" : words;
}

void PrintRows(std::ostream& out, const std::vector<Row>& rows,
               const std::function<std::string(const std::string& entry_id)>& subject) {
    PrintRow(out, "time", "held", "event", "what happened", "subject now");
    out << std::string(137, '-') << '\n';
    for (const Row& row : rows) {
        const std::string indent(2 * static_cast<std::size_t>(row.depth), ' ');
        PrintRow(out, MillisecondText(row.at, 0),
                 MillisecondText(row.held, 1) + (row.held > kLongestHold ? "!" : ""),
                 indent + row.event, InWords(row), subject(row.entry_id));
    }
}

void Print(std::ostream& out, const Totals& totals) {
    out << totals.events << " events, " << totals.nested
        << " of them within others: " << totals.in_background << " checked in background, "
        << totals.on_read << " on read, " << totals.on_send << " on send, " << totals.not_checked
        << " not checked, " << totals.check_failed << " checks failed; " << totals.with_failures
        << " with failures (marked by !)\n"
        << "Outlook's thread was held " << MillisecondText(totals.longest, 1)
        << " at most, more than 500 ms " << totals.held_long << " times\n";
}

}  // namespace sandbox::demo
