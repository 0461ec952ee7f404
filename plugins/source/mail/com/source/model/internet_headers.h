#pragma once

// Changes to the Internet headers of a message, which are one text. Free functions of texts: any
// thread may call them.

#include <string>
#include <string_view>

namespace plugins::mail_processing {

// `headers` without the lines that hold the name of `line` (its text up to the first ":"), and
// with `line` at its end. Raises vek::CheckFailedException for a line without ":" and for headers
// whose line has no end.
std::string ReplaceHeader(std::string_view headers, std::string_view line);

// `headers` with `line` as a block of its own at the end. Raises vek::CheckFailedException for a
// line without ":".
std::string AppendHeader(std::string_view headers, std::string_view line);

}  // namespace plugins::mail_processing
