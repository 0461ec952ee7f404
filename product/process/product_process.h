#pragma once

// The life of the product's process.

#include <chrono>
#include <functional>

#include "product/process/product_options.h"
#include "product/product_server.h"

namespace reference_product {

// What the product's program ends with.
enum class ExitCode : int {
    kStopped = 0,      // it was stopped as asked; with --stop: none runs now
    kCannotStart = 1,  // the log or the error output says why
    kUsage = 2,
    kRunsAlready = 3,  // another process serves this folder
    kDoesNotStop = 4,  // with --stop: it was asked to, and still runs
};

// Waits for a signal to stop; false when the time is over.
using WaitForSignal = std::function<bool(std::chrono::milliseconds)>;

// Offers the services until a signal or a request stops it. What happens is logged: start, stop,
// whatever the server tells, and each check with what was found, changed and failed.
ExitCode RunProduct(const ProductOptions& options, const Serve& serve, const WaitForSignal& wait);

// Asks the process that runs in the folder to stop, and waits `patience` for its end. Raises
// std::exception when it cannot be asked.
ExitCode StopProduct(const std::filesystem::path& folder, std::chrono::milliseconds patience);

}  // namespace reference_product
