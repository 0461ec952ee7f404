#pragma once

#include <chrono>
#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

namespace sandbox::demo {

// One mail after its check.
struct Result {
    std::string mail;     // its file's name
    std::string message;  // its message file's name
    std::string event;
    std::vector<std::string> found;
    std::vector<std::string> changed;
    std::vector<std::string> not_offered;  // to the scanner: no failures
    std::vector<std::string> not_checked;  // other parts, each with why
    std::vector<std::string> left;         // though dangerous
    std::vector<std::string> failed;
    std::chrono::microseconds time{};
};

// Prints a table for a terminal of 140 columns, each mail in as many rows as its findings and
// changes take, and a line that counts them.
void PrintTable(std::ostream& out, const std::vector<Result>& results);

// The same in full, as JSON for scripts: {"messages": [{"message": "invoice.json", "event": ...,
// "found": [...], "changed": [...], "not_offered": [...], "not_checked": [...], "left": [...],
// "failed": [...], "microseconds": 1}]}. Raises std::runtime_error that names the file.
void WriteReport(const std::filesystem::path& path, const std::vector<Result>& results);

}  // namespace sandbox::demo
