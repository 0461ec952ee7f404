#include "product/process/product_options.h"

#include <string_view>

namespace reference_product {
namespace {

struct Option {
    std::string_view name;
    std::filesystem::path ProductOptions::*member;
    const char* in_folder;
};

constexpr Option kFiles[] = {
    {"--rules", &ProductOptions::rules, "sample.rules"},
    {"--settings", &ProductOptions::settings, "settings.json"},
    {"--texts", &ProductOptions::texts, "texts.json"},
    {"--resources", &ProductOptions::resources, "resources"},
    {"--log", &ProductOptions::log, "product.log"},
    {"--reports", &ProductOptions::reports, "reports.jsonl"},
};

std::filesystem::path* PathOption(ProductOptions& options, std::string_view name) {
    if (name == "--folder") return &options.folder;
    for (const Option& option : kFiles)
        if (name == option.name) return &(options.*option.member);
    return nullptr;
}

}  // namespace

std::optional<ProductOptions> ParseOptions(std::span<char* const> arguments) {
    ProductOptions options;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string_view name = arguments[i];
        if (name == "--stop") {
            options.stop = true;
            continue;
        }
        if (name == "--no-scan") {
            options.scans = false;
            continue;
        }
        if (name == "--no-process-access") {
            options.opens_processes = false;
            continue;
        }
        if (name == "--silent-at" || name == "--stopped-at") {
            const auto step = ++i < arguments.size() ? StepNamed(arguments[i]) : std::nullopt;
            if (!step) return std::nullopt;
            options.silence = Silence{*step, name == "--stopped-at"};
            continue;
        }
        std::filesystem::path* const path = PathOption(options, name);
        if (path == nullptr || ++i == arguments.size()) return std::nullopt;
        *path = arguments[i];
    }
    if (options.folder.empty()) return std::nullopt;
    for (const Option& option : kFiles) {
        std::filesystem::path& path = options.*option.member;
        if (path.empty()) path = options.folder / option.in_folder;
    }
    return options;
}

void PrintUsage(std::ostream& out) {
    out << "usage: mlxo_product --folder DIR [--rules FILE] [--settings FILE] [--texts FILE]\n"
           "                    [--resources DIR] [--log FILE] [--reports FILE]\n"
           "                    [--no-scan] [--silent-at STEP | --stopped-at STEP]\n"
           "                    [--no-process-access]\n"
           "       mlxo_product --folder DIR --stop\n";
}

}  // namespace reference_product
