#include "product/state/run_folder.h"

#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>

#include "product/state/process_start.h"
#include "product/state/strict_json.h"
#include "product/state/text_file.h"

namespace reference_product {
namespace {

using nlohmann::json;

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

std::optional<ServiceScanner> ScannerFile::ScannerOf(std::uint32_t service) const noexcept {
    try {
        const json value = json::parse(ReadTextFile(Of(service)).value_or(""));
        RequireMembers(value, {"service", "process_id", "local_id"});
        const ServiceScanner scanner{RequireNumber<std::uint32_t>(value, "service"),
                                     RequireNumber<std::uint32_t>(value, "process_id"),
                                     RequireNumber<std::uint32_t>(value, "local_id")};
        if (scanner.service != service || scanner.process_id == 0 || scanner.local_id == 0)
            return std::nullopt;
        return scanner;
    } catch (...) {
        return std::nullopt;
    }
}

void ScannerFile::Publish(const ServiceScanner& self) const {
    const json value{
        {"service", self.service}, {"process_id", self.process_id}, {"local_id", self.local_id}};
    const std::filesystem::path path = Of(self.service);
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << value.dump(1) << '\n';
    file.close();
    if (!file) throw std::runtime_error(PathText(path) + ": cannot be written");
}

std::filesystem::path ScannerFile::SpareOf(std::uint32_t service) const {
    return data_ / ("running-" + std::to_string(service) + ".json");
}

std::filesystem::path ScannerFile::Of(std::uint32_t service) const {
    std::filesystem::path spare = SpareOf(service);
    std::error_code ignored;
    return std::filesystem::exists(spare, ignored) ? spare : Usual();
}

}  // namespace reference_product
