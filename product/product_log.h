#pragma once

// The product's log, for the person who runs it.

#include <filesystem>
#include <functional>
#include <string_view>

namespace reference_product {

// A function that takes one log entry of one or more lines. Any thread may call it; raises nothing.
using Log = std::function<void(std::string_view)>;

// Opens a log file at its end (rotating_file.h); each entry begins with the local date and time.
// The file stays open while the Log is kept. Raises std::runtime_error that names the file.
Log OpenLog(const std::filesystem::path& file);

}  // namespace reference_product
