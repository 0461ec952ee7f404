#pragma once

// The installed product's own account of itself: its values, and where its process is.

#include <optional>
#include <string>
#include <string_view>

#include "common/product_info/product_library.h"
#include "vek/trace/file_tracer.h"

namespace plugins::product_info {

// The values that the plug-in reads.
inline constexpr std::string_view kTraceRoot = "TraceRoot";    // the folder of trace files
inline constexpr std::string_view kTraceLevel = "TraceLevel";  // up to which lines are traced
inline constexpr std::string_view kDataRoot = "DataRoot";      // the folder of the product's data

// A source of the values. May be called from any thread.
class ProductInfo {
public:
    virtual ~ProductInfo() = default;

    // The value of `name` as the product keeps it, in UTF-8; nothing when the product does not
    // say.
    virtual std::optional<std::string> Value(std::string_view name) const = 0;
};

// Asks the installed product's library, which the environment's keeper keeps.
class InstalledProduct final : public ProductInfo {
public:
    explicit InstalledProduct(LibraryEnvironment environment = {});

    // Traces in one line whatever keeps the library from answering.
    std::optional<std::string> Value(std::string_view name) const override;

private:
    const LibraryEnvironment environment_;
};

// Who answers for the product.
struct ProductProcess {
    RemoteAddress address{};
    std::string account = {};  // whose process it is, as a text SID; empty: this process's user's
    std::string image = {};    // its program, in UTF-8; empty: any
};

// Where the installed product's process can be reached now, and who it must be, as its library
// says. Makes no call to the process, and does not wait. May be called from any thread.
//
// Raises vek::ResultCodeException with a code of ProductLibrary (product_library.h), or with
//   kNotReady     the product does not run
//   kUnexpected   it claims success and gives no address
ProductProcess FindProduct(const LibraryEnvironment& environment);

// `root` with a "%QZAppData%" at its very beginning replaced by the environment variable
// QZAppData; anything else is kept as it is. Nothing when the variable is needed but not set, or
// empty.
std::optional<std::string> ExpandRoot(std::string_view root);

// Takes over the folder and the level of the trace. What the product does not say stays as it is, a
// level that is no decimal number too.
void ReadTraceValues(const ProductInfo& info, vek::trace::FileTracerConfig& config);

}  // namespace plugins::product_info
