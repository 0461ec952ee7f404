#pragma once

#include <chrono>
#include <ostream>
#include <string>
#include <vector>

namespace sandbox::demo {

// What became of one mail.
struct Result {
    std::string mail;     // its file's name
    std::string message;  // its message file's name
    std::string event;
    std::vector<std::string> found;
    std::vector<std::string> changed;
    std::vector<std::string> not_offered;  // to the scanner: no failures
    std::vector<std::string> failed;
    std::chrono::microseconds time{};
};

// A table of the results for a terminal of 140 columns, a mail to a row or as many rows as it has
// things to say, and a line that counts them.
void PrintTable(std::ostream& out, const std::vector<Result>& results);

}  // namespace sandbox::demo
