#include "vek/serialization/reader.h"

namespace vek::serialization {

bytes_t Reader::ReadBytes(std::uint64_t count) noexcept {
    if (Failed(result_)) return {};
    if (count > left()) {
        result_ = result::kBufferTooSmall;
        return {};
    }
    const bytes_t bytes = bytes_.subspan(consumed_, static_cast<std::size_t>(count));
    consumed_ += bytes.size();
    return bytes;
}

void Reader::Fail(result_t code) noexcept {
    if (Succeeded(result_)) result_ = code;
}

}  // namespace vek::serialization
