#include "product/state/rotating_file.h"

#include <stdexcept>
#include <system_error>
#include <utility>

#include "product/state/text_file.h"

namespace reference_product {

using vek::platform::AppendFile;

RotatingFile::RotatingFile(std::filesystem::path path, std::uint64_t most_bytes)
    : path_(std::move(path)), most_bytes_(most_bytes), file_(AppendFile::Open(PathText(path_))) {
    if (!file_) throw std::runtime_error(PathText(path_) + ": cannot be opened");
}

bool RotatingFile::Append(std::string_view bytes) noexcept {
    const std::uint64_t size = file_.Size();
    if (size != 0 && size + bytes.size() > most_bytes_) BeginAnew();
    return file_.Append(bytes);
}

void RotatingFile::BeginAnew() noexcept {
    try {
        std::filesystem::path earlier = path_;
        earlier += ".1";
        std::error_code error;
        std::filesystem::rename(path_, earlier, error);
        if (error) return;
        if (AppendFile next = AppendFile::Open(PathText(path_))) file_ = std::move(next);
    } catch (...) {  // NOLINT(bugprone-empty-catch): it goes on as it is
    }
}

}  // namespace reference_product
