#include "sandbox/demo/manifest.h"

#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace sandbox::demo {

std::vector<Mail> LoadManifest(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error(path.string() + ": cannot be read");
    std::vector<Mail> mails;
    try {
        const nlohmann::json manifest = nlohmann::json::parse(file);
        for (const auto& entry : manifest.at("messages")) {
            mails.push_back(
                {entry.at("source").get<std::string>(), entry.at("message").get<std::string>()});
        }
    } catch (const nlohmann::json::exception& exception) {
        throw std::runtime_error(path.string() + ": " + exception.what());
    }
    return mails;
}

}  // namespace sandbox::demo
