#pragma once

#include <filesystem>
#include <functional>
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
    // FolderRefused when others can have written it or might. That may take its time: `look` is
    // called for each file.
    DataFolders(const std::filesystem::path& data, const std::function<void()>& look);

private:
    void Take(const std::filesystem::path& folder, Openness openness);

    const std::string account_;
    std::vector<vek::platform::UniqueHandle> held_;
};

// For the service that runs as this process, when no scanner can be reached: takes all ScannerNames
// away, and says so by another one where somebody keeps one from being removed. Waits for nobody.
// Where neither can be done, others look for the scanner where it was.
void WithdrawScanner(const std::filesystem::path& data) noexcept;

}  // namespace reference_product
