#pragma once

#include <memory>
#include <string>

#include "sandbox/registry/memory_registry.h"
#include "tests/support/scoped_environment.h"
#include "tests/support/temporary_folder.h"
#include "vek/core/text.h"

namespace tests {

// While it lives, a product is installed whose information library is at `path`; for an empty path
// there is none. On Windows the registry says so to those that are given it.
class InstalledAt final : public sandbox::MemoryRegistry {
public:
    explicit InstalledAt(const std::string& path) { Move(path); }

    void Move(const std::string& path) {
        const char16_t* const key = u"SOFTWARE\\QZ\\Mail Plugin";
        DeleteTree(key);
        if (!path.empty()) Set(key, u"ProductInfo", vek::ToUtf16(path));
        variable_.reset();
        variable_ = std::make_unique<ScopedEnvironment>("MLXO_PRODUCT_INFO", path);
    }

private:
    std::unique_ptr<ScopedEnvironment> variable_;
};

}  // namespace tests
