#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "sandbox/outlook/message_record.h"

namespace sandbox::outlook {

// Message files as message_format.md describes them. An error in one is raised as
// std::runtime_error with the file's name, the place in it and what is expected there.

// Errors call the text `name`.
MessageRecord ParseMessage(std::string_view json, const std::string& name);

// Bytes of a text that are not UTF-8 are written as U+FFFD.
std::string FormatMessage(const MessageRecord& message);

MessageRecord LoadMessageFile(const std::filesystem::path& path);
void SaveMessageFile(const std::filesystem::path& path, const MessageRecord& message);

}  // namespace sandbox::outlook
