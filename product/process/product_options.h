#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <ostream>
#include <span>

#include "product/process/silence.h"

namespace reference_product {

// The command line of the product's program. Files that it does not name lie in the folder.
struct ProductOptions {
    bool stop = false;           // stop the running process instead of becoming it
    bool scans = true;           // otherwise every check returns at once
    bool lists_kept = false;     // list what is kept, instead of becoming a process
    std::uint32_t restored = 0;  // or restore this kept item,
    std::filesystem::path to;    // into this folder
    std::optional<Silence> silence;
    std::filesystem::path folder;
    std::filesystem::path rules;      // sample.rules
    std::filesystem::path settings;   // settings.json
    std::filesystem::path texts;      // texts.json
    std::filesystem::path resources;  // resources
    std::filesystem::path log;        // product.log
    std::filesystem::path reports;    // reports.jsonl
    std::filesystem::path kept;       // kept, a folder
    // The folder of the users' own settings; empty while all users have those of the file.
    std::filesystem::path users;
};

// Gives nothing for malformed arguments. `arguments` lack the program's name.
std::optional<ProductOptions> ParseOptions(std::span<char* const> arguments);

void PrintUsage(std::ostream& out);

}  // namespace reference_product
