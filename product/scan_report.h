#pragma once

// The report of one check: its findings, its changes and its cost.

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "vek/core/result.h"

namespace reference_product {

// An operation of the message that failed.
struct ScanFailure {
    std::string operation;  // after its part of the message: "attachment 1 \"a.zip\": OpenStream"
    vek::result_t code = vek::result::kOk;
};

// Everything that a check has to tell.
struct ScanReport {
    bool incoming = false;
    std::string subject;  // UTF-8
    std::string summary;  // the message's header summary, in the code page of its store
    // The code of the first failure that left a content unread or a change undone, else kOk.
    vek::result_t result = vek::result::kOk;
    bool infected = false;
    bool known_clean = false;  // it was not looked at: an earlier check found it clean
    bool whole = true;         // no operation that was asked for is missing from the plug-in
    std::vector<std::string> findings;
    std::vector<std::string> changes;  // only those that succeeded
    std::vector<ScanFailure> failures;
    // The parts that the plug-in does not offer to scanners, such as "attachment 2".
    std::vector<std::string> not_offered;
    // Other parts that were not checked, each with why.
    std::vector<std::string> not_checked;
    std::vector<std::string> left;  // the attachments that were dangerous and still are
    std::uint32_t callbacks = 0;    // operations called on the message and its parts
    std::uint64_t bytes_read = 0;   // of bodies and attachments
    std::chrono::microseconds time{0};
};

// Tells whether a whole check found nothing, changed nothing and left nothing unchecked.
bool IsClean(const ScanReport& report) noexcept;

// Gives the report for people: several lines, each with its end. What mail says makes no other.
std::string ToText(const ScanReport& report);

}  // namespace reference_product
