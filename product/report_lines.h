#pragma once

// Scan reports on their way to another process: a file that gets a line of JSON for each check.

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "product/scan_report.h"
#include "vek/platform/append_file.h"

namespace reference_product {

// A report and its number among those of its file, counted from 1.
struct NumberedReport {
    std::uint32_t number = 0;
    ScanReport report;
};

// One line, ended. Bytes that are no UTF-8 become U+FFFD.
std::string ToReportLine(const NumberedReport& report);

// Raises std::exception for anything else.
NumberedReport ParseReportLine(std::string_view line);

// Free-threaded.
class ReportWriter {
public:
    // Begins the file anew. Raises std::runtime_error that names it.
    explicit ReportWriter(const std::filesystem::path& file);

    // Writes the line before it returns, and gives its number. Raises std::runtime_error.
    std::uint32_t Write(ScanReport report);

private:
    std::mutex lock_;  // guards what follows
    vek::platform::AppendFile file_;
    std::uint32_t written_ = 0;
};

// Reads a file that may still grow.
class ReportReader {
public:
    // What is in the file now is passed over. The file need not be there yet.
    explicit ReportReader(std::filesystem::path file);

    // The next report; nothing when its line is not there, or not there in full. Raises
    // std::exception for a line that is no report.
    std::optional<NumberedReport> Next();

private:
    const std::filesystem::path file_;
    std::uintmax_t position_ = 0;
};

}  // namespace reference_product
