#include "common/product_info/installed_product.h"

#include <cstdint>
#include <cstring>
#include <utility>

#include "vek/core/throw.h"
#include "vek/trace/line.h"

namespace plugins::product_info {
namespace {

// Paths are shorter.
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
        // Where the text ends is seen here, not told.
        value.resize(::strnlen(value.data(), capacity));
        return value;
    }
}

}  // namespace

InstalledProduct::InstalledProduct(LibraryEnvironment environment)
    : environment_(std::move(environment)) {}

std::optional<std::string> InstalledProduct::Value(std::string_view name) const {
    try {
        const ProductLibrary library(environment_);
        const auto values = library.Create<IProductValues>(kProductValuesObject);
        return ReadValue(*values, std::string(name));
    } catch (...) {
        vek::trace::WriteCurrentException(environment_.tracer,
                                          "Product information: ", vek::trace::level::kWarning);
        return std::nullopt;
    }
}

}  // namespace plugins::product_info
