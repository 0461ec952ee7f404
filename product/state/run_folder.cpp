#include "product/state/run_folder.h"

#include <charconv>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

#include "product/state/process_start.h"
#include "product/state/strict_json.h"
#include "product/state/text_file.h"

namespace reference_product {
namespace {

using nlohmann::json;

constexpr std::string_view kScannerName = "running";

std::string Format(const RunningProduct& product) {
    return json{{"process_id", product.process_id},
                {"started", product.started},
                {"local_id", product.local_id},
                {"tcp_port", product.tcp_port}}
               .dump(1) +
           '\n';
}

RunningProduct Parse(const std::string& text) {
    const json value = json::parse(text);
    RequireMembers(value, {"process_id", "started", "local_id", "tcp_port"});
    RunningProduct product;
    product.process_id = RequireNumber<std::uint32_t>(value, "process_id");
    product.started = RequireNumber<std::uint64_t>(value, "started");
    product.local_id = RequireNumber<std::uint32_t>(value, "local_id");
    product.tcp_port = RequireNumber<std::uint16_t>(value, "tcp_port");
    if (product.local_id == 0 && product.tcp_port == 0)
        throw std::runtime_error("neither local_id nor tcp_port says where it is");
    return product;
}

std::optional<RunningProduct> Read(const std::filesystem::path& path) {
    const std::optional<std::string> text = ReadTextFile(path);
    if (!text) return std::nullopt;
    try {
        return Parse(*text);
    } catch (const std::exception& exception) {
        throw std::runtime_error(PathText(path) + ": " + exception.what());
    }
}

// Tells whether the file names `product`; a malformed file does not.
bool Names(const std::filesystem::path& path, const RunningProduct& product) noexcept {
    try {
        return Read(path) == product;
    } catch (...) {
        return false;
    }
}

}  // namespace

bool IsAlive(const RunningProduct& product) {
    return ProcessStart(product.process_id) == product.started;
}

RunFolder::RunFolder(const std::filesystem::path& folder)
    : running_(folder / "running.json"), stop_(folder / "stop.json") {}

std::optional<RunningProduct> RunFolder::Running() const {
    std::optional<RunningProduct> product = Read(running_);
    if (product && !IsAlive(*product)) product.reset();
    return product;
}

void RunFolder::Publish(const RunningProduct& self) const {
    ReplaceTextFile(running_, Format(self));
}

void RunFolder::Withdraw(const RunningProduct& self) const noexcept {
    std::error_code ignored;
    for (const std::filesystem::path& path : {running_, stop_}) {
        if (Names(path, self)) std::filesystem::remove(path, ignored);
    }
}

void RunFolder::RequestStop(const RunningProduct& product) const {
    ReplaceTextFile(stop_, Format(product));
}

bool RunFolder::StopRequested(const RunningProduct& self) const noexcept {
    return Names(stop_, self);
}

std::optional<ScannerNames::Numbers> ScannerNames::NumbersIn(const std::string& name) noexcept {
    Numbers found;
    ServiceScanner& scanner = found.scanner;
    std::string_view rest = name;
    if (!rest.starts_with(kScannerName)) return std::nullopt;
    rest.remove_prefix(kScannerName.size());
    for (std::uint32_t* const number :
         {&scanner.service, &found.number, &scanner.process_id, &scanner.local_id}) {
        if (!rest.starts_with('-')) return std::nullopt;
        const auto [end, error] =
            std::from_chars(rest.data() + 1, rest.data() + rest.size(), *number);
        if (error != std::errc()) return std::nullopt;
        rest.remove_prefix(static_cast<std::size_t>(end - rest.data()));
    }
    if (!rest.empty()) return std::nullopt;
    return found;
}

std::optional<ScannerNames::Numbers> ScannerNames::LastOf(std::uint32_t service) const {
    std::optional<Numbers> last;
    for (const std::filesystem::path& path : All()) {
        const auto found = NumbersIn(PathText(path.filename()));
        if (found && found->scanner.service == service && (!last || found->number > last->number))
            last = found;
    }
    return last;
}

std::vector<std::filesystem::path> ScannerNames::All() const {
    std::vector<std::filesystem::path> paths;
    for (const auto& each : std::filesystem::directory_iterator(data_))
        if (PathText(each.path().filename()).starts_with(kScannerName))
            paths.push_back(each.path());
    return paths;
}

std::optional<ServiceScanner> ScannerNames::ScannerOf(std::uint32_t service) const noexcept {
    try {
        const std::optional<Numbers> last = LastOf(service);
        if (last && last->scanner.process_id != 0 && last->scanner.local_id != 0)
            return last->scanner;
    } catch (...) {  // NOLINT(bugprone-empty-catch): there is no folder yet
    }
    return std::nullopt;
}

void ScannerNames::Publish(const ServiceScanner& self) const {
    const std::optional<Numbers> last = LastOf(self.service);
    std::string name(kScannerName);
    for (const std::uint32_t number :
         {self.service, last ? last->number + 1 : 1, self.process_id, self.local_id})
        name += '-' + std::to_string(number);
    const std::filesystem::path path = data_ / name;
    if (!std::ofstream(path)) throw std::runtime_error(PathText(path) + ": cannot be made");
}

}  // namespace reference_product
