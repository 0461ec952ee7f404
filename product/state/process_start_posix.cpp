#include "product/state/process_start.h"

#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

namespace reference_product {

// The fields of /proc/PID/stat are those of proc(5).
std::optional<std::uint64_t> ProcessStart(std::uint32_t id) {
    std::ifstream file("/proc/" + std::to_string(id) + "/stat");
    const std::string line{std::istreambuf_iterator<char>(file), {}};
    // The program's name is in parentheses and may hold anything.
    const std::size_t name_end = line.rfind(')');
    if (name_end == std::string::npos) return std::nullopt;
    std::istringstream fields(line.substr(name_end + 1));
    std::string field;
    constexpr int kState = 3;
    constexpr int kStartTime = 22;
    for (int number = kState; fields >> field; ++number) {
        if (number == kState && (field == "Z" || field == "X")) return std::nullopt;
        if (number == kStartTime) return std::stoull(field);
    }
    return std::nullopt;
}

}  // namespace reference_product
