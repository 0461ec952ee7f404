#include "sandbox/outlook/message_file.h"

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace sandbox::outlook {

MessageRecord LoadMessageFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    if (!file || !(text << file.rdbuf()))
        throw std::runtime_error(path.string() + ": cannot be read");
    return ParseMessage(std::move(text).str(), path.string());
}

void SaveMessageFile(const std::filesystem::path& path, const MessageRecord& message) {
    const std::string text = FormatMessage(message);
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(text.data(), static_cast<std::streamsize>(text.size()));
    file.close();
    if (!file) throw std::runtime_error(path.string() + ": cannot be written");
}

}  // namespace sandbox::outlook
