#pragma once

#include "common/product_info/product_info.h"
#include "common/product_info/product_library.h"

namespace plugins::product_info {

// What the installed product's library says. The library is loaded for each question: they are
// few, and a product may be installed, replaced or removed at any time.
class InstalledProduct final : public ProductInfo {
public:
    explicit InstalledProduct(LibraryEnvironment environment = {});

    // Whatever keeps the library from answering is traced in one line.
    std::optional<std::string> Value(std::string_view name) const override;

private:
    const LibraryEnvironment environment_;
};

}  // namespace plugins::product_info
