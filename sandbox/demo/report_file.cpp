#include "sandbox/demo/report_file.h"

#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace sandbox::demo {

void WriteReport(const std::filesystem::path& path, const std::vector<Result>& results) {
    nlohmann::json messages = nlohmann::json::array();
    for (const Result& result : results) {
        messages.push_back({{"message", result.message},
                            {"event", result.event},
                            {"found", result.found},
                            {"changed", result.changed},
                            {"not_offered", result.not_offered},
                            {"failed", result.failed}});
    }
    std::ofstream file(path, std::ios::binary);
    // Names may hold bytes that are no UTF-8.
    file << nlohmann::json{{"messages", messages}}.dump(1, ' ', true,
                                                        nlohmann::json::error_handler_t::replace)
         << '\n';
    if (!file.flush()) throw std::runtime_error(path.string() + ": cannot be written");
}

}  // namespace sandbox::demo
