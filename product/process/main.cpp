// The reference product's program: serves the scanner and the product's other services until it is
// told to stop, or is the service that has another of its processes do so. Exit codes are those of
// product_process.h.

#include <exception>
#include <iostream>

#include "mlxo_version.h"
#include "product/process/product_process.h"
#include "product/process/service.h"
#include "product/process/stop_signal.h"
#include "vek/platform/process.h"

namespace {

using namespace reference_product;

ExitCode Run(std::span<char* const> arguments) {
    const std::optional<ProductOptions> options = ParseOptions(arguments);
    if (!options) {
        PrintUsage(std::cerr);
        return ExitCode::kUsage;
    }
    vek::platform::RefuseProcesses(!options->opens_processes);
    switch (options->mode) {
        case ProgramMode::kStop:
            return StopProduct(options->data, std::chrono::seconds(10));
        case ProgramMode::kService:
            return RunService(*options, arguments);
        case ProgramMode::kKept:
            return RunKeptCommand(*options, std::cout);
        default:
            break;
    }
    StopSignal signal(options->mode == ProgramMode::kScanner);
    return RunProduct(*options, [&](std::chrono::milliseconds time) { return signal.Wait(time); });
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::string_view(argv[1]) == "--version") {
        std::cout << "mlxo_product " MLXO_VERSION "\n";
        return 0;
    }
    try {
        return static_cast<int>(Run({argv + 1, static_cast<std::size_t>(argc > 1 ? argc - 1 : 0)}));
    } catch (const std::exception& exception) {
        std::cerr << exception.what() << '\n';
        return static_cast<int>(ExitCode::kCannotStart);
    }
}
