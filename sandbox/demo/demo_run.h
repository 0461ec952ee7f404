#pragma once

#include <filesystem>
#include <vector>

#include "sandbox/demo/result_table.h"
#include "sandbox/outlook/store_traits.h"

namespace sandbox::demo {

// The folders and the product of one run.
struct Options {
    std::filesystem::path messages;  // the folder of the manifest and its message files
    std::filesystem::path out;       // gets the message files after the check, the trace in "trace"
    std::filesystem::path rules;     // of the product in this process
    // The folder of a product in a process of its own, which runs; empty for one in this process.
    std::filesystem::path product;
    outlook::StoreTraits store;
};

// The results of one run, those of failed checks left out.
struct Outcome {
    std::vector<Result> results;
    bool all_checked = true;
};

// Checks every mail of the manifest with the plug-in: those that were received on the road of the
// background queue, by entry id, others as mail being sent. Raises std::runtime_error when it
// cannot begin.
Outcome Run(const Options& options);

}  // namespace sandbox::demo
