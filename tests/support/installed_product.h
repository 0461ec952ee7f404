#pragma once

#include <memory>
#include <string>

#include "tests/support/scoped_environment.h"
#include "tests/support/temporary_folder.h"
#include "vek/platform/registry.h"

namespace tests {

// While it lives, a product is installed whose information library is at `path`; for an empty path
// there is none. On Windows the registry says so to those that are given it.
class InstalledAt final : public vek::platform::Registry {
    using Error = vek::platform::system_error_t;
    using Root = vek::platform::RegistryRoot;
    using View = std::string_view;

public:
    explicit InstalledAt(const std::string& path) { Move(path); }

    void Move(const std::string& path) {
        path_ = path;
        ++written_;
        variable_.reset();
        variable_ = std::make_unique<ScopedEnvironment>("MLXO_PRODUCT_INFO", path);
    }

    Error ReadText(Root root, View key, View name, std::string& value) override {
        if (root != Root::kLocalMachine || path_.empty() || key != "SOFTWARE\\QZ\\Mail Plugin" ||
            name != "ProductInfo")
            return vek::platform::system_error::kFileNotFound;
        value = path_;
        return vek::platform::system_error::kNone;
    }
    Error ReadLastWriteTime(Root, View, vek::platform::filetime_t& time) override {
        time = written_;
        return vek::platform::system_error::kNone;
    }
    Error WriteText(Root, View, View, View) override { return DeleteValue({}, {}, {}); }
    Error DeleteValue(Root, View, View) override {
        return vek::platform::system_error::kAccessDenied;
    }

private:
    vek::platform::filetime_t written_ = 0;
    std::string path_;
    std::unique_ptr<ScopedEnvironment> variable_;
};

}  // namespace tests
