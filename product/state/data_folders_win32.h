#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "product/state/folder_security.h"
#include "vek/platform/handle_win32.h"

namespace reference_product {

// A folder of the service's that is not what it must be. The text names it and says why.
class FolderRefused : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The service's data folders: `data`, which users may read, and in it "users" and "private", which
// they may not. Nobody can rename, remove or replace one while this object exists.
class DataFolders {
public:
    // Makes what is missing, the folder above `data` included, for the system, its administrators
    // and this process's account. Looks at all that is there, whoever made it, and raises
    // FolderRefused when others can have written it or might.
    explicit DataFolders(const std::filesystem::path& data);

private:
    void Take(const std::filesystem::path& folder, Openness openness);

    const std::string account_;
    std::vector<vek::platform::UniqueHandle> held_;
};

}  // namespace reference_product
