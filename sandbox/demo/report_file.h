#pragma once

#include <filesystem>
#include <vector>

#include "sandbox/demo/result_table.h"

namespace sandbox::demo {

// The results in full, as JSON for scripts: {"messages": [{"message": "invoice.json", "event": ...,
// "found": [...], "changed": [...], "not_offered": [...], "failed": [...]}]}. Raises
// std::runtime_error that names the file.
void WriteReport(const std::filesystem::path& path, const std::vector<Result>& results);

}  // namespace sandbox::demo
