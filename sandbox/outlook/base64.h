#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace sandbox::outlook {

std::string EncodeBase64(std::string_view bytes);

// Nullopt unless the text is base64 with its padding.
std::optional<std::string> DecodeBase64(std::string_view text);

}  // namespace sandbox::outlook
