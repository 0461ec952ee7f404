#pragma once

#include <filesystem>

#include "private_include/common/product_library.h"
#include "vek/core/object.h"

namespace reference_product {

// Makes the objects of the information library for the product in one folder: its values, which
// are the texts in product_info.json, and the address of its running process (run_folder.h). Each
// call reads the file anew; a malformed one gives kInvalidType. Any thread may call it.
class InfoFactory final : public vek::ObjectImpl<plugins::product_info::IObjectFactory> {
public:
    explicit InfoFactory(std::filesystem::path folder);

    vek::result_t CreateObject(const char* name, vek::interface_id_t id,
                               void** object) noexcept override;

private:
    const std::filesystem::path folder_;
};

}  // namespace reference_product
