#pragma once

// The Internet headers of a message, as one text.

#include <string>
#include <string_view>

#include "model/properties_accessor.h"

namespace plugins::mail_processing {

// `headers` without the lines that hold the name of `line` (its text up to the first ":"), and
// with `line` at its end. Raises vek::CheckFailedException for a line without ":" and for headers
// whose line has no end.
std::string ReplaceHeader(std::string_view headers, std::string_view line);

// `headers` with `line` as a block of its own at the end. Raises vek::CheckFailedException for a
// line without ":".
std::string AppendHeader(std::string_view headers, std::string_view line);

// Whether a notice may be put into the message: always when its class names S/MIME; otherwise when
// its content type is known and is none of the signed and encrypted ones.
bool AllowsNotice(PropertiesAccessor& message);

}  // namespace plugins::mail_processing
