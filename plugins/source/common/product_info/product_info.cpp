#include "common/product_info/product_info.h"

#include <charconv>
#include <cstdint>
#include <cstring>
#include <system_error>
#include <utility>

#include "vek/core/throw.h"
#include "vek/platform/environment.h"
#include "vek/trace/traced_border.h"

namespace plugins::product_info {
namespace {

// The values are paths, which are shorter.
constexpr std::uint32_t kLongestValue = 64 << 10;

std::string ReadValue(IProductValues& values, const std::string& name) {
    std::string value(260, '\0');
    for (;;) {
        const auto capacity = static_cast<std::uint32_t>(value.size());
        std::uint32_t size = 0;
        const vek::result_t code = values.GetValue(name.c_str(), value.data(), capacity, &size);
        if (code == vek::result::kBufferTooSmall && size > capacity && size <= kLongestValue) {
            value.resize(size);
            continue;
        }
        if (vek::Failed(code)) vek::ThrowResult(code);
        // Its end is looked for here: what the library says of the length is not believed.
        value.resize(::strnlen(value.data(), capacity));
        return value;
    }
}

// Empty when the product has no such value; every other failure is raised.
std::string ValueOrNone(IProductValues& values, std::string_view name) {
    try {
        return ReadValue(values, std::string(name));
    } catch (const vek::ResultCodeException& failure) {
        if (failure.code() != vek::result::kNotFound) throw;
        return {};
    }
}

}  // namespace

std::optional<std::string> ExpandRoot(std::string_view root) {
    constexpr std::string_view kVariable = "%QZAppData%";
    if (!root.starts_with(kVariable)) return std::string(root);

    std::optional<std::string> folder = vek::platform::GetEnvironment("QZAppData");
    if (!folder || folder->empty()) return std::nullopt;
    *folder += root.substr(kVariable.size());
    return folder;
}

void ReadTraceValues(const ProductInfo& info, vek::trace::FileTracerConfig& config) {
    if (const auto root = info.Value(kTraceRoot)) {
        if (auto folder = ExpandRoot(*root)) config.folder = std::move(folder);
    }
    const std::string level = info.Value(kTraceLevel).value_or("");
    vek::trace::level_t number = 0;
    const char* const end = level.data() + level.size();
    const auto [rest, error] = std::from_chars(level.data(), end, number);
    if (error == std::errc() && rest == end) config.level = number;
}

ProductProcess FindProduct(const LibraryEnvironment& environment) {
    if (environment.on_attempt) environment.on_attempt();
    const auto library = environment.keeper->Library(environment);
    const auto remote = library->Create<IRemoteObject>(kRemoteLoaderObject);
    ProductProcess process;
    RemoteAddress& address = process.address;
    const vek::result_t code = remote->GetAddress(&address);
    if (vek::Failed(code)) vek::ThrowResult(code);
    if (address.local_id == 0 && address.tcp_port == 0) vek::ThrowResult(vek::result::kUnexpected);
    const auto values = library->Create<IProductValues>(kProductValuesObject);
    process.account = ValueOrNone(*values, kProcessAccount);
    process.image = ValueOrNone(*values, kProcessImage);
    return process;
}

InstalledProduct::InstalledProduct(LibraryEnvironment environment)
    : environment_(std::move(environment)) {}

std::optional<std::string> InstalledProduct::Value(std::string_view name) const {
    std::optional<std::string> value;
    vek::trace::TracedBorder(
        environment_.tracer,
        [&] {
            const auto library = environment_.keeper->Library(environment_);
            const auto values = library->Create<IProductValues>(kProductValuesObject);
            value = ReadValue(*values, std::string(name));
        },
        "Product information: ");
    return value;
}

}  // namespace plugins::product_info
