#pragma once

#include <filesystem>
#include <optional>
#include <ostream>
#include <span>

namespace reference_product {

// What the product's program was told. Files that were not named lie in the folder.
struct ProductOptions {
    bool stop = false;  // stop the one that runs, instead of running
    std::filesystem::path folder;
    std::filesystem::path rules;      // sample.rules
    std::filesystem::path settings;   // settings.json
    std::filesystem::path texts;      // texts.json
    std::filesystem::path resources;  // resources
    std::filesystem::path log;        // product.log
    std::filesystem::path reports;    // reports.jsonl
};

// Nothing for arguments that cannot be understood. `arguments` are those after the program's name.
std::optional<ProductOptions> ParseOptions(std::span<char* const> arguments);

void PrintUsage(std::ostream& out);

}  // namespace reference_product
