#pragma once

#include <string>

#include "vek/core/result.h"

namespace vek {

// Appends a code in the form it has in traces, "result=0x80000046 (Invalid argument)", in UTF-8.
// The code's facility picks the text's table. May be called from any thread; raises only for want
// of memory.
void AppendResult(std::string& out, result_t code);

}  // namespace vek
