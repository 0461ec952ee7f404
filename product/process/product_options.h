#pragma once

#include <filesystem>
#include <optional>
#include <ostream>
#include <span>

#include "product/process/silence.h"

namespace reference_product {

// The command line of the product's program. Files that it does not name lie in the folder.
struct ProductOptions {
    bool stop = false;  // stop the running process instead of becoming it
    bool scans = true;  // otherwise every check returns at once
    std::optional<Silence> silence;
    bool opens_processes = true;  // otherwise it is refused, as a service is users' processes
    std::filesystem::path folder;
    std::filesystem::path rules;      // sample.rules
    std::filesystem::path settings;   // settings.json
    std::filesystem::path texts;      // texts.json
    std::filesystem::path resources;  // resources
    std::filesystem::path log;        // product.log
    std::filesystem::path reports;    // reports.jsonl
};

// Gives nothing for malformed arguments. `arguments` lack the program's name.
std::optional<ProductOptions> ParseOptions(std::span<char* const> arguments);

void PrintUsage(std::ostream& out);

}  // namespace reference_product
