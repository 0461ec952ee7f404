#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <ostream>
#include <span>

#include "product/process/silence.h"

namespace reference_product {

// What the program is started as.
enum class ProgramMode {
    kConsole,  // the product's process of the user who starts it, for development
    kStop,     // asks the running --console to stop
    kService,  // the service: starts the scanner and restarts it when it ends
    kScanner,  // the product's process, as the service starts it
    kKept,     // lists what is kept, or restores some of it
};

// The command line of the product's program. What it does not name lies where the comments say.
struct ProductOptions {
    ProgramMode mode = ProgramMode::kConsole;
    bool scans = true;                  // otherwise every check returns at once
    std::uint32_t service_process = 0;  // of --scanner: the service that has started it
    std::uint32_t restored = 0;         // of --kept: the item to restore; 0: all are listed
    std::filesystem::path to;           // and the folder for it
    std::optional<Silence> silence;
    bool opens_processes = true;   // otherwise it is refused, as a service is users' processes
    std::filesystem::path folder;  // what is installed; the service's: that of the program
    std::filesystem::path data;    // running.json; the service's: CommonDataFolder, else `folder`
    std::filesystem::path users;   // a file for each user; the service's: in `data`, "users"
    std::filesystem::path private_data;  // the service's: in `data`, "private"; else `folder`
    std::filesystem::path rules;         // in `folder`, sample.rules
    std::filesystem::path settings;      // in `data`, settings.json
    std::filesystem::path texts;         // in `folder`, texts
    std::filesystem::path resources;     // in `folder`, resources
    std::filesystem::path log;           // in `private_data`, product.log
    std::filesystem::path reports;       // in `private_data`, reports.jsonl
    std::filesystem::path kept;          // in `private_data`, the folder kept
};

// Gives nothing for malformed arguments. `arguments` lack the program's name.
std::optional<ProductOptions> ParseOptions(std::span<char* const> arguments);

void PrintUsage(std::ostream& out);

}  // namespace reference_product
