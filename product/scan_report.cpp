#include "product/scan_report.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "product/foreign_text.h"

namespace reference_product {
namespace {

std::string Hex(vek::result_t code) {
    char text[11];
    std::snprintf(text, sizeof text, "0x%08x", static_cast<unsigned>(code));
    return text;
}

// A sender decides how many there are.
constexpr std::size_t kMostLines = 100;

void AddLines(std::string& text, std::string_view heading, const std::vector<std::string>& lines) {
    for (std::size_t i = 0; i < std::min(lines.size(), kMostLines); ++i)
        text.append("  ").append(heading).append(": ").append(InOneLine(lines[i])) += '\n';
    if (lines.size() > kMostLines) {
        const std::string more = std::to_string(lines.size() - kMostLines);
        text.append("  ").append(heading).append(": ").append(more).append(" more\n");
    }
}

}  // namespace

bool IsClean(const ScanReport& report) noexcept {
    return report.whole && report.result == vek::result::kOk && !report.infected &&
           report.findings.empty() && report.changes.empty() && report.failures.empty() &&
           report.not_offered.empty() && report.not_checked.empty();
}

std::string ToText(const ScanReport& report) {
    std::string text = (report.incoming ? "incoming " : "outgoing ") + InOneLine(report.summary);
    const bool is_all = report.not_offered.empty() && report.not_checked.empty();
    text += report.infected      ? ": infected\n"
            : report.known_clean ? ": known clean\n"
            : is_all             ? ": clean\n"
                                 : ": nothing found in what was checked\n";
    AddLines(text, "found", report.findings);
    AddLines(text, "changed", report.changes);
    AddLines(text, "left as it is", report.left);
    std::vector<std::string> lines;
    for (const std::string& part : report.not_offered)
        lines.push_back(part + ": it is not offered to scanners");
    AddLines(text, "not checked", lines);
    AddLines(text, "not checked", report.not_checked);
    lines.clear();
    for (const ScanFailure& failure : report.failures)
        lines.push_back(failure.operation + ", result=" + Hex(failure.code));
    AddLines(text, "failed", lines);
    text += "  " + std::to_string(report.callbacks) + " callbacks, " +
            std::to_string(report.bytes_read) + " bytes read, " +
            std::to_string(report.time.count()) + " us, result=" + Hex(report.result) + '\n';
    return text;
}

}  // namespace reference_product
