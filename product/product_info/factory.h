#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "private_include/common/product_library.h"
#include "product/product_info/service_state.h"
#include "product/state/places.h"
#include "vek/core/object.h"
#include "vek/platform/registry.h"

namespace reference_product {

// What the library asks besides the product's folder. A seam: a test answers itself.
struct InfoSources {
    std::function<std::optional<std::uint32_t>(const std::string& service)> service_process =
        &ProcessOfService;
    std::function<std::filesystem::path()> common_data = &CommonDataFolder;
    std::function<std::filesystem::path()> user_data = &UserDataFolder;
    vek::platform::Registry& registry = vek::platform::TheRegistry();
};

// Makes the objects of the information library for the product in one folder: its values, which
// are the texts in product_info.json, and the address of its running process. Each call reads the
// file anew; a malformed one gives kInvalidType. Any thread may call it.
//
// Where the file names a "Service", its scanner is what runs (ScannerNames), the roots are the
// user's own (UserDataFolder), and "ProcessAccount" is what the machine's registry says:
// kNotInitialized when it says nothing, for then nobody may be taken for the product.
class InfoFactory final : public vek::ObjectImpl<plugins::product_info::IObjectFactory> {
public:
    explicit InfoFactory(std::filesystem::path folder, InfoSources sources = {});

    vek::result_t CreateObject(const char* name, vek::interface_id_t id,
                               void** object) noexcept override;

private:
    const std::filesystem::path folder_;
    const InfoSources sources_;
};

}  // namespace reference_product
