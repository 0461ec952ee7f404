#include "vek/platform/registry.h"

#include "vek/core/never_destroyed.h"

namespace vek::platform {
namespace {

class NoRegistry final : public Registry {
public:
    system_error_t ReadText(RegistryRoot, std::string_view, std::string_view,
                            std::string&) override {
        return system_error::kFileNotFound;
    }
    system_error_t WriteText(RegistryRoot, std::string_view, std::string_view,
                             std::string_view) override {
        return system_error::kFileNotFound;
    }
    system_error_t DeleteValue(RegistryRoot, std::string_view, std::string_view) override {
        return system_error::kFileNotFound;
    }
};

}  // namespace

Registry& TheRegistry() noexcept {
    // Never destroyed: what lives until the process ends may use it to the last.
    static NeverDestroyed<NoRegistry> registry;
    return *registry;
}

}  // namespace vek::platform
