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
#include "product/state/rotating_file.h"

namespace reference_product {

// A report and its number among those of its file, counted from 1.
struct NumberedReport {
    std::uint32_t number = 0;
    ScanReport report;
};

// Gives one line with its end. Bytes that are not UTF-8 become U+FFFD.
std::string ToReportLine(const NumberedReport& report);

// Parses such a line. Raises std::exception for a malformed one.
NumberedReport ParseReportLine(std::string_view line);

// Writes the reports of a process to its file. Any thread may call it.
class ReportWriter {
public:
    // Begins the file anew (rotating_file.h). Raises std::runtime_error that names it.
    explicit ReportWriter(const std::filesystem::path& file);

    // Writes the line before it returns, and gives the report's number. Raises std::runtime_error.
    std::uint32_t Write(ScanReport report);

private:
    std::mutex lock_;  // guards what follows
    RotatingFile file_;
    std::uint32_t written_ = 0;
};

// Reads a file that may still grow. For one thread.
class ReportReader {
public:
    // Skips the reports that are in the file now. The file may be missing still.
    explicit ReportReader(std::filesystem::path file);

    // Gives the next report, or nothing while its line is missing or incomplete. Raises
    // std::exception for a malformed line.
    std::optional<NumberedReport> Next();

private:
    const std::filesystem::path file_;
    std::uintmax_t position_ = 0;
};

}  // namespace reference_product
