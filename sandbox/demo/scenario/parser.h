#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "sandbox/demo/scenario/event.h"

namespace sandbox::demo {

// Every line that is wrong, each as "FILE:LINE: what is wrong with it".
class ScenarioError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The events in their order. `name` is what errors call the text. Raises ScenarioError.
std::vector<ScenarioEvent> ParseScenario(std::string_view text, const std::string& name);

// Raises ScenarioError, also for a file that cannot be read.
std::vector<ScenarioEvent> LoadScenario(const std::filesystem::path& path);

}  // namespace sandbox::demo
