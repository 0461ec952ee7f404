#pragma once

#include <filesystem>

#include "private_include/common/product_library.h"
#include "vek/core/object.h"

namespace reference_product {

// Makes what the information library offers, for the product of one folder. Its values are the
// texts in the folder's product_info.json, its remote object is where the running process says
// (run_folder.h). Files are read for each question. One that is not understood gives kInvalidType.
class InfoFactory final : public vek::ObjectImpl<plugins::product_info::IObjectFactory> {
public:
    explicit InfoFactory(std::filesystem::path folder);

    vek::result_t CreateObject(const char* name, vek::interface_id_t id,
                               void** object) noexcept override;

private:
    const std::filesystem::path folder_;
};

}  // namespace reference_product
