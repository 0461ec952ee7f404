#include "product/process/product_options.h"

#include <charconv>
#include <string_view>

#include "product/state/places.h"

namespace reference_product {
namespace {

using Place = std::filesystem::path ProductOptions::*;

struct Option {
    std::string_view name;
    Place member;
    Place base;
    const char* in_base;
};

constexpr Option kFiles[] = {
    {"--rules", &ProductOptions::rules, &ProductOptions::folder, "sample.rules"},
    {"--settings", &ProductOptions::settings, &ProductOptions::data, "settings.json"},
    {"--texts", &ProductOptions::texts, &ProductOptions::folder, "texts"},
    {"--resources", &ProductOptions::resources, &ProductOptions::folder, "resources"},
    {"--log", &ProductOptions::log, &ProductOptions::private_data, "product.log"},
    {"--reports", &ProductOptions::reports, &ProductOptions::private_data, "reports.jsonl"},
    {"--kept-in", &ProductOptions::kept, &ProductOptions::private_data, "kept"},
};

constexpr struct {
    std::string_view name;
    ProgramMode mode;
} kModes[] = {
    {"--console", ProgramMode::kConsole},
    {"--stop", ProgramMode::kStop},
    {"--service", ProgramMode::kService},
    {"--scanner", ProgramMode::kScanner},
};

bool TakeMode(ProductOptions& options, std::string_view name) {
    for (const auto& each : kModes) {
        if (each.name == name) return options.mode = each.mode, true;
    }
    return false;
}

bool TakeNumber(std::string_view text, std::uint32_t& number) {
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && rest == end;
}

std::filesystem::path* PathOption(ProductOptions& options, std::string_view name) {
    if (name == "--folder") return &options.folder;
    if (name == "--data") return &options.data;
    if (name == "--to") return &options.to;
    for (const Option& option : kFiles)
        if (name == option.name) return &(options.*option.member);
    return nullptr;
}

void FillIn(std::filesystem::path& place, const std::filesystem::path& usual) {
    if (place.empty()) place = usual;
}

}  // namespace

std::optional<ProductOptions> ParseOptions(std::span<char* const> arguments) {
    ProductOptions options;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string_view name = arguments[i];
        if (TakeMode(options, name)) continue;
        if (name == "--no-scan") {
            options.scans = false;
            continue;
        }
        if (name == "--no-process-access") {
            options.opens_processes = false;
            continue;
        }
        if (++i == arguments.size()) return std::nullopt;
        const std::string_view value = arguments[i];
        if (name == "--silent-at" || name == "--stopped-at") {
            const auto step = StepNamed(value);
            if (!step) return std::nullopt;
            options.silence = Silence{*step, name == "--stopped-at"};
        } else if (name == "--kept") {
            options.mode = ProgramMode::kKept;
            if (value == "list") continue;
            if (value != "restore" || ++i == arguments.size() ||
                !TakeNumber(arguments[i], options.restored) || options.restored == 0)
                return std::nullopt;
        } else if (name == "--service-process") {
            if (!TakeNumber(value, options.service_process)) return std::nullopt;
        } else if (std::filesystem::path* const path = PathOption(options, name)) {
            *path = value;
        } else {
            return std::nullopt;
        }
    }
    const bool is_scanner = options.mode == ProgramMode::kScanner;
    const bool is_services = is_scanner || options.mode == ProgramMode::kService ||
                             (options.mode == ProgramMode::kKept && options.folder.empty());
    if (is_scanner != (options.service_process != 0)) return std::nullopt;
    if (is_services) {
        FillIn(options.folder, ModuleFolder());
        FillIn(options.data, CommonDataFolder());
        options.private_data = options.data / "private";
        options.users = options.data / "users";
    } else {
        FillIn(options.data, options.folder);
        options.private_data = options.folder;
    }
    if (options.folder.empty() || options.data.empty()) return std::nullopt;
    if ((options.restored == 0) != options.to.empty()) return std::nullopt;
    for (const Option& option : kFiles)
        FillIn(options.*option.member, options.*option.base / option.in_base);
    return options;
}

void PrintUsage(std::ostream& out) {
    out << "usage: mlxo_product [--console] --folder DIR [--rules FILE] [--settings FILE]\n"
           "                    [--texts DIR] [--resources DIR] [--log FILE] [--reports FILE]\n"
           "                    [--kept-in DIR] [--no-scan] [--no-process-access]\n"
           "                    [--silent-at STEP | --stopped-at STEP]\n"
           "       mlxo_product --folder DIR --stop\n"
           "       mlxo_product --service [--data DIR] [--no-process-access]\n"
           "       mlxo_product [--folder DIR] --kept list\n"
           "       mlxo_product [--folder DIR] --kept restore N --to DIR\n";
}

}  // namespace reference_product
