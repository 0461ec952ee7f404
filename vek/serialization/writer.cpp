#include "vek/serialization/writer.h"

namespace vek::serialization {

void Writer::PlaceViews() {
    const bytes_t copied(copied_);
    std::size_t taken = room_;
    for (const Viewed& viewed : viewed_) {
        if (viewed.copied_before > taken) {
            pieces_.Append(copied.subspan(taken, viewed.copied_before - taken));
            taken = viewed.copied_before;
        }
        pieces_.Append(viewed.bytes);
    }
    if (copied.size() > taken) pieces_.Append(copied.subspan(taken));
}

}  // namespace vek::serialization
