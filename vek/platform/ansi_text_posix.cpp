#include "vek/platform/ansi_text.h"

namespace vek::platform {

std::string AnsiToUtf8(std::string_view text) { return std::string(text); }

std::string Utf8ToAnsi(std::string_view text) { return std::string(text); }

}  // namespace vek::platform
