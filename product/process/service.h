#pragma once

// The service: a small parent that keeps the scanner's process running. Nothing of the scanner runs
// in it, and nobody can call it but the service control manager.

#include <span>

#include "product/process/product_options.h"
#include "product/process/product_process.h"

namespace reference_product {

// Becomes the service that the service control manager has started, until it is stopped there. The
// scanner is started with the same `arguments`, and again when it ends (RestartPolicy). Stopped, it
// is asked to end, and is ended by force when it has not done so in well under a second. What
// keeps the service from running goes to the system's event log too, and its code is the service's
// specific exit code.
ExitCode RunService(const ProductOptions& options, std::span<char* const> arguments);

}  // namespace reference_product
