#pragma once

// The life of the product's process.

#include <chrono>
#include <functional>
#include <ostream>

#include "product/process/product_options.h"

namespace reference_product {

// The exit codes of the product's program.
enum class ExitCode : int {
    kStopped = 0,      // stopped as asked; with --stop: no process runs now; with --kept: done
    kCannotStart = 1,  // or cannot restore; the log or the error output says why
    kUsage = 2,
    kRunsAlready = 3,  // another process serves this folder
    kDoesNotStop = 4,  // with --stop: the process was asked to stop and still runs
    kRefused = 5,      // the data folder is not the service's own; the event log says why
};

// A function that waits for a signal to stop; false when the time is over.
using WaitForSignal = std::function<bool(std::chrono::milliseconds)>;

// Offers the services until a signal or, in --console, a request stops it: to processes of this
// user, as --scanner to every user's. The log gets start and stop, connections, and each check with
// what was found, changed and failed.
ExitCode RunProduct(const ProductOptions& options, const WaitForSignal& wait);

// Asks the process that runs in the folder to stop, and waits at most `patience` for its end.
// Raises std::exception when the request cannot be written.
ExitCode StopProduct(const std::filesystem::path& folder, std::chrono::milliseconds patience);

// Does what `--kept` asks for and prints what there is, or where it was restored to. Raises
// std::runtime_error that says why it cannot.
ExitCode RunKeptCommand(const ProductOptions& options, std::ostream& out);

}  // namespace reference_product
