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

// The service's hold on its ScannerFile. While it lives whoever opens the file has to let others
// read and write it, and nobody can make the service or the scanner wait; users may read it, and
// one of them may have taken it for himself while no service ran. One thread at a time.
class HeldScannerFile {
public:
    // Takes the usual file, or the spare one, whichever nobody keeps from others, and empties it.
    // `data` is looked at before. Raises std::runtime_error when neither can be had.
    explicit HeldScannerFile(const std::filesystem::path& data);
    // Removes the file.
    ~HeldScannerFile();
    HeldScannerFile(const HeldScannerFile&) = delete;
    HeldScannerFile& operator=(const HeldScannerFile&) = delete;

    const std::filesystem::path& path() const noexcept { return path_; }

    // No scanner can be reached.
    void Withdraw() noexcept;

private:
    std::filesystem::path path_;
    vek::platform::UniqueHandle file_;
};

}  // namespace reference_product
