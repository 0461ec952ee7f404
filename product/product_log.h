#pragma once

// What the product tells whoever runs it.

#include <filesystem>
#include <functional>
#include <string_view>

namespace reference_product {

// Takes one thing that happened, in one line or several. Called from any thread; raises nothing.
using Log = std::function<void(std::string_view)>;

// A log file that is added to; each entry begins with the local date and time. It is open for as
// long as the log is used. Raises std::runtime_error that names the file.
Log OpenLog(const std::filesystem::path& file);

}  // namespace reference_product
