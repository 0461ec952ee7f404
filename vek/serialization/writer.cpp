#include "vek/serialization/writer.h"

namespace vek::serialization {
namespace {

// What most calls take, so that one allocation serves them.
constexpr std::size_t kUsualSize = 256;

}  // namespace

void Writer::Copy(const void* data, std::size_t size) {
    if (size == 0) return;
    if (copied_.capacity() == 0) copied_.reserve(kUsualSize);
    const auto* bytes = static_cast<const std::byte*>(data);
    copied_.insert(copied_.end(), bytes, bytes + size);
    size_ += size;
}

void Writer::WriteRange(bytes_t bytes) {
    if (bytes.size() < kViewedFrom) return WriteBytes(bytes);
    viewed_.push_back({copied_.size(), bytes});
    size_ += bytes.size();
}

std::span<const bytes_t> Writer::Pieces() {
    pieces_.clear();
    const bytes_t copied(copied_);
    std::size_t taken = 0;
    for (const Viewed& viewed : viewed_) {
        if (viewed.copied_before > taken) {
            pieces_.push_back(copied.subspan(taken, viewed.copied_before - taken));
            taken = viewed.copied_before;
        }
        pieces_.push_back(viewed.bytes);
    }
    if (copied.size() > taken) pieces_.push_back(copied.subspan(taken));
    return pieces_;
}

}  // namespace vek::serialization
