#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace sandbox::demo {

// One mail of a manifest that the converter wrote (message_format.md).
struct Mail {
    std::string source;   // the mail's path
    std::string message;  // the message file's name, beside the manifest
};

// Raises std::runtime_error that names the file.
std::vector<Mail> LoadManifest(const std::filesystem::path& path);

}  // namespace sandbox::demo
