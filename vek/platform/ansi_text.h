#pragma once

// The border between UTF-8 and the narrow texts of old system interfaces, which are in the
// system's ANSI code page on Windows and in UTF-8 elsewhere.

#include <string>
#include <string_view>

namespace vek::platform {

// Both convert all of `text`, NULs included, and may be called from any thread. A malformed byte
// becomes a replacement character.
std::string AnsiToUtf8(std::string_view text);

// A character that the code page lacks becomes the nearest that it has, or its default character.
std::string Utf8ToAnsi(std::string_view text);

}  // namespace vek::platform
