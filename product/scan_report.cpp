#include "product/scan_report.h"

#include <cstdio>

namespace reference_product {
namespace {

std::string Hex(vek::result_t code) {
    char text[11];
    std::snprintf(text, sizeof text, "0x%08x", static_cast<unsigned>(code));
    return text;
}

// Without what would begin another line of a log, or tell a terminal something.
std::string InOneLine(std::string text) {
    for (char& letter : text) {
        const auto byte = static_cast<unsigned char>(letter);
        if (byte < 0x20 || byte == 0x7F) letter = ' ';
    }
    return text;
}

}  // namespace

bool IsClean(const ScanReport& report) noexcept {
    return report.whole && report.result == vek::result::kOk && !report.infected &&
           report.findings.empty() && report.changes.empty() && report.failures.empty() &&
           report.not_offered.empty();
}

std::string ToText(const ScanReport& report) {
    std::string text = (report.incoming ? "incoming " : "outgoing ") + InOneLine(report.summary);
    text += report.infected ? ": infected\n" : report.known_clean ? ": known clean\n" : ": clean\n";
    for (const std::string& finding : report.findings)
        text += "  found: " + InOneLine(finding) + '\n';
    for (const std::string& change : report.changes)
        text += "  changed: " + InOneLine(change) + '\n';
    for (const std::string& part : report.not_offered)
        text += "  not offered: " + InOneLine(part) + '\n';
    for (const ScanFailure& failure : report.failures) {
        text +=
            "  failed: " + InOneLine(failure.operation) + ", result=" + Hex(failure.code) + '\n';
    }
    text += "  " + std::to_string(report.callbacks) + " callbacks, " +
            std::to_string(report.bytes_read) + " bytes read, " +
            std::to_string(report.time.count()) + " us, result=" + Hex(report.result) + '\n';
    return text;
}

}  // namespace reference_product
