#include "product/content_reader.h"

#include "vek/core/ref_ptr.h"

namespace reference_product {
namespace {

using plugins::mail_processing::IDataStream;
using plugins::mail_processing::IPropertyProvider;
using plugins::mail_processing::SeekOrigin;
namespace access_mode = plugins::mail_processing::access_mode;
namespace open_mode = plugins::mail_processing::open_mode;

// Each read is a round trip to another process: large enough to make few of them, small enough to
// be held for every check at once.
constexpr std::size_t kReadSize = std::size_t{64} << 10;

constexpr std::string_view kNotToItsEnd = "it cannot be read to its end";

}  // namespace

ContentReader::ContentReader(CallbackLog& log) : log_(log), buffer_(kReadSize) {}

std::string_view ContentReader::Read(IPropertyProvider& provider, std::string_view label,
                                     const Sink& sink, TimePoint deadline) {
    vek::RefPtr<IDataStream> stream;
    const vek::result_t opened = provider.OpenStream(access_mode::kRead, 0, stream.put());
    if (!log_.Read(label, "OpenStream", opened)) {
        return IsMissing(opened) ? std::string_view() : kNotToItsEnd;
    }
    if (!stream) {
        log_.Failed(label, "OpenStream", vek::result::kUnexpected);
        return kNotToItsEnd;
    }
    for (;;) {
        std::uint32_t count = 0;
        if (!log_.Read(label, "Read", stream->Read(buffer_, count))) return kNotToItsEnd;
        if (count > buffer_.size()) {
            log_.Failed(label, "Read", vek::result::kUnexpected);
            return kNotToItsEnd;
        }
        log_.BytesRead(count);
        sink(std::span(buffer_).first(count));
        if (count < buffer_.size()) return {};
        if (TimePoint::clock::now() >= deadline) return kTooLong;
    }
}

bool ContentReader::Replace(IPropertyProvider& provider, std::string_view label,
                            std::string_view content) {
    vek::RefPtr<IDataStream> stream;
    if (!log_.Change(label, "OpenStream",
                     provider.OpenStream(access_mode::kRead | access_mode::kWrite,
                                         open_mode::kCreate, stream.put())) ||
        !stream) {
        return false;
    }
    // A stream may be one that was opened before and stands anywhere.
    std::uint64_t position = 0;
    if (!log_.Change(label, "Seek", stream->Seek(0, SeekOrigin::kStart, position))) return false;
    if (!log_.Change(label, "SetSize", stream->SetSize(0))) return false;
    auto left = std::as_bytes(std::span(content));
    while (!left.empty()) {
        std::uint32_t count = 0;
        if (!log_.Change(label, "Write", stream->Write(left, count))) return false;
        if (count == 0 || count > left.size()) {
            log_.Failed(label, "Write", vek::result::kUnexpected);
            return false;
        }
        left = left.subspan(count);
    }
    return log_.Change(label, "Commit", stream->Commit());
}

}  // namespace reference_product
