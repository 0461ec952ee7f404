#include "model/notice.h"

#include <algorithm>
#include <limits>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "internal/helpers/hresult_exception.h"
#include "mapi/mapi_streams.h"
#include "mapi/property_tags.h"
#include "model/ascii.h"
#include "model/write_refusals.h"
#include "private_include/common/mail_message.h"
#include "vek/core/throw.h"

namespace plugins::mail_processing {
namespace {

constexpr std::string_view kRule = "\r\n---------------------\r\n";
constexpr std::string_view kHtmlEnd = "</html>";
constexpr std::string_view kBeforeRule = "<br>";
constexpr std::string_view kAfterRule = "<br>\r\n";
// The most that goes in with a notice.
constexpr std::size_t kAround = kBeforeRule.size() + kRule.size() + kAfterRule.size();

constexpr std::uint32_t kPage = 4096;

// MAPI properties have no more bytes. A stream that claims more lies.
constexpr std::uint64_t kLargestBody = std::numeric_limits<std::int32_t>::max();
// Memory for larger bodies is taken as they arrive, not on the word of their stream.
constexpr std::uint64_t kReservedAtOnce = std::uint64_t{64} << 20;

void Write(IStream& stream, std::string_view bytes) {
    vek::Check(mapi::Write(stream, std::as_bytes(std::span(bytes))) == bytes.size());
}

std::size_t FindHtmlEnd(std::string_view piece) {
    std::size_t at = piece.find('<');
    while (at != std::string_view::npos &&
           AsciiLower(piece.substr(at, kHtmlEnd.size())) != kHtmlEnd)
        at = piece.find('<', at + 1);
    return at;
}

// Inserts the notice into `piece`, the last one of the body `tag`, and says where.
std::string WithNotice(std::string_view piece, ULONG tag, std::string_view notice,
                       std::size_t& at) {
    const std::size_t html_end = FindHtmlEnd(piece);
    const bool html = html_end != std::string::npos || tag == mapi::tag::kBodyHtmlA;
    at = html_end != std::string::npos ? html_end : piece.size();
    std::string result;
    result.reserve(piece.size() + notice.size() + kAround);
    result.append(piece.substr(0, at));
    if (html) result.append(kBeforeRule);
    result.append(kRule);
    if (html) result.append(kAfterRule);
    result.append(notice).append(piece.substr(at));
    return result;
}

// The last bytes of a text that comes in pieces.
class TextEnd {
public:
    // Keeps the last `length` bytes of a text of `size` bytes.
    TextEnd(std::size_t length, std::uint64_t size)
        : length_(length), from_(size - std::min<std::uint64_t>(size, length)) {}

    void Append(std::string_view piece) {
        const std::uint64_t before = std::exchange(seen_, seen_ + piece.size());
        if (seen_ <= from_) return;
        kept_ += piece.substr(static_cast<std::size_t>(from_ - std::min(from_, before)));
    }
    // After the last piece.
    bool Contains(std::string_view text) const noexcept {
        const std::size_t more = kept_.size() - std::min(kept_.size(), length_);
        return std::string_view(kept_).substr(more).find(text) != std::string_view::npos;
    }

private:
    const std::size_t length_;
    const std::uint64_t from_;  // where the end begins, as far as the size is true
    std::uint64_t seen_ = 0;
    std::string kept_;
};

// A body with a notice in it. Counts are in bytes.
struct Copy {
    std::uint64_t size;
    std::uint64_t inserted_at;
    std::uint64_t inserted;
};

// Copies the body `tag` of `size` bytes and inserts the notice near its end.
Copy CopyWithNotice(IStream& source, std::uint64_t size, IStream& target, ULONG tag,
                    std::string_view notice) {
    vek::Check(size <= kLargestBody);
    std::vector<char> buffer(NoticeChunkSize(size) + 1);
    // Makes room at once: a stream that grows piece by piece moves its bytes every time.
    mapi::SetSize(target, std::min(size, kReservedAtOnce) + notice.size() + kAround);
    const auto bytes = std::as_writable_bytes(std::span(buffer));
    // A notice that was inserted stands within the last piece of the text as it was then, which is
    // before the last piece of the longer text. One that is further away is quoted.
    TextEnd end(kPage + 1 + kAround + notice.size(), size);
    std::uint64_t total = 0;
    for (;;) {
        const std::string_view piece(buffer.data(), mapi::ReadFully(source, bytes));
        vek::Check(!piece.empty());
        total += piece.size();
        end.Append(piece);
        if (total < size) {
            Write(target, piece);
            continue;
        }
        vek::Check(!end.Contains(notice));
        std::size_t at = 0;
        const std::string last = WithNotice(piece, tag, notice, at);
        Write(target, last);
        // Replacing the body would lose the bytes that a stream has beyond its stated size.
        vek::Check(mapi::Read(source, bytes) == 0);
        const std::uint64_t before = total - piece.size();
        return {before + last.size(), before + at, last.size() - piece.size()};
    }
}

void Replace(SharedStream& target, IStream& content, std::uint64_t size) {
    mapi::Seek(content, 0, STREAM_SEEK_SET);
    // A shorter body must not keep the end of the old one, and other sizes need not be taken.
    IStream& stream = target.Emptied();
    ULARGE_INTEGER wanted{};
    wanted.QuadPart = size;
    ULARGE_INTEGER read{};
    ULARGE_INTEGER written{};
    helpers::CheckHResult(content.CopyTo(&stream, wanted, &read, &written));
    vek::Check(written.QuadPart == size);
    target.Commit();
}

// The body that the copy was made of.
std::vector<std::byte> OldBody(IStream& content, const Copy& copy) {
    std::vector<std::byte> body(static_cast<std::size_t>(copy.size - copy.inserted));
    const std::span bytes(body);
    const auto before = static_cast<std::size_t>(copy.inserted_at);
    mapi::Seek(content, 0, STREAM_SEEK_SET);
    vek::Check(mapi::ReadFully(content, bytes.first(before)) == before);
    mapi::Seek(content, static_cast<std::int64_t>(copy.inserted), STREAM_SEEK_CUR);
    vek::Check(mapi::ReadFully(content, bytes.subspan(before)) == body.size() - before);
    return body;
}

}  // namespace

std::uint32_t NoticeChunkSize(std::uint64_t size) noexcept {
    const auto low = static_cast<std::uint32_t>(size);
    if (size <= kPage || low < kPage) return kPage;
    return (low - 100) / (low >> 12);
}

void InsertNotice(const mapi::MapiFunctions& functions, PropertiesAccessor& message, ULONG tag,
                  std::string_view notice, const vek::trace::TracerPtr& tracer) {
    const vek::RefPtr<IStream> content = mapi::NewMemoryStream(functions.ole);
    CheckBudget::Reservation reserved;
    Copy copy{};
    {
        const auto source = message.GetStreamProperty(tag, access_mode::kRead, 0);
        const std::uint64_t before = source->Size();
        reserved = message.budget().TakeBytes(before);
        copy = CopyWithNotice(source->AtStart(), before, *content, tag, notice);
    }
    const auto target = message.GetStreamProperty(tag, access_mode::kRead | access_mode::kWrite, 0);
    RefuseLosingCharacters(target->WasNarrowWhole(), tag, tracer);
    try {
        Replace(*target, *content, copy.size);
    } catch (...) {
        // A later user would commit the half written bytes with his own if the accessor gave him
        // this stream again.
        message.ForgetStream();
        target->ReplaceFailed(OldBody(*content, copy));
        throw;
    }
    message.MarkChanged();
}

}  // namespace plugins::mail_processing
