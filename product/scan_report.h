#pragma once

// What one check found, did and cost.

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "vek/core/result.h"

namespace reference_product {

struct ScanFailure {
    std::string operation;  // with what it was called on: "attachment 1 \"a.zip\": OpenStream"
    vek::result_t code = vek::result::kOk;
};

struct ScanReport {
    bool incoming = false;
    std::string summary;  // the message's header summary, in the code page of its store
    // The first failure that left a content unread or a wanted change undone, else kOk.
    vek::result_t result = vek::result::kOk;
    bool infected = false;
    std::vector<std::string> findings;
    std::vector<std::string> changes;  // those that were made
    std::vector<ScanFailure> failures;
    // What is of a kind that scanners are not offered, such as "attachment 2": no failure.
    std::vector<std::string> not_offered;
    std::uint32_t callbacks = 0;   // operations called on the message and its parts
    std::uint64_t bytes_read = 0;  // of bodies and attachments
    std::chrono::microseconds time{0};
};

// For people: several lines, each ended.
std::string ToText(const ScanReport& report);

}  // namespace reference_product
