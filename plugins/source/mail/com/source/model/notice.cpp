#include "model/notice.h"

#include <string>
#include <vector>

#include "internal/helpers/hresult_exception.h"
#include "mapi/mapi_streams.h"
#include "mapi/property_tags.h"
#include "model/ascii.h"
#include "private_include/common/mail_message.h"
#include "vek/core/throw.h"

namespace plugins::mail_processing {
namespace {

constexpr std::string_view kRule = "\r\n---------------------\r\n";
constexpr std::string_view kHtmlEnd = "</html>";
// More than what stands around a notice.
constexpr std::size_t kAround = 64;

void Write(IStream& stream, std::string_view bytes) {
    ULONG written = 0;
    helpers::CheckHResult(stream.Write(bytes.data(), static_cast<ULONG>(bytes.size()), &written));
    vek::Check(written == bytes.size());
}

// The last piece of a body with the notice in it.
std::string WithNotice(std::string_view piece, ULONG tag, std::string_view notice) {
    const std::size_t html_end = AsciiLower(piece).find(kHtmlEnd);
    const bool html = html_end != std::string::npos || tag == mapi::tag::kBodyHtmlA;
    const std::size_t at = html_end != std::string::npos ? html_end : piece.size();
    std::string result;
    result.reserve(piece.size() + notice.size() + kAround);
    result.append(piece.substr(0, at));
    if (html) result.append("<br>");
    result.append(kRule);
    if (html) result.append("<br>\r\n");
    result.append(notice).append(piece.substr(at));
    return result;
}

void CopyWithNotice(IStream& source, IStream& target, ULONG tag, std::string_view notice) {
    const std::uint64_t size = mapi::Size(source);
    std::vector<char> buffer(NoticeChunkSize(size) + 1);
    // Makes room at once: a stream that grows piece by piece moves what it holds every time.
    mapi::SetSize(target, size + notice.size() + kAround);
    std::uint64_t total = 0;
    for (;;) {
        ULONG count = 0;
        helpers::CheckHResult(
            source.Read(buffer.data(), static_cast<ULONG>(buffer.size()), &count));
        vek::Check(count != 0);
        const std::string_view piece(buffer.data(), count);
        total += count;
        if (total >= size && piece.find(notice) == std::string_view::npos) {
            const std::string last = WithNotice(piece, tag, notice);
            Write(target, last);
            mapi::SetSize(target, total - count + last.size());
            return;
        }
        Write(target, piece);
    }
}

void Replace(IStream& target, IStream& content) {
    const std::uint64_t size = mapi::Size(content);
    mapi::Seek(content, 0, STREAM_SEEK_SET);
    mapi::Seek(target, 0, STREAM_SEEK_SET);
    ULARGE_INTEGER wanted{};
    wanted.QuadPart = size;
    ULARGE_INTEGER read{};
    ULARGE_INTEGER written{};
    helpers::CheckHResult(content.CopyTo(&target, wanted, &read, &written));
    vek::Check(written.QuadPart == size);
    mapi::SetSize(target, size);
    helpers::CheckHResult(target.Commit(STGC_DEFAULT));
}

}  // namespace

std::uint32_t NoticeChunkSize(std::uint64_t size) noexcept {
    constexpr std::uint32_t kPage = 4096;
    const auto low = static_cast<std::uint32_t>(size);
    if (size <= kPage || low < kPage) return kPage;
    return (low - 100) / (low >> 12);
}

void InsertNotice(const mapi::OleFunctions& ole, PropertiesAccessor& message, ULONG tag,
                  std::string_view notice) {
    const vek::RefPtr<IStream> content = mapi::NewMemoryStream(ole);
    {
        const auto source = message.GetStreamProperty(tag, access_mode::kRead, 0);
        // The kept stream may stand where its last user left it.
        mapi::Seek(*source, 0, STREAM_SEEK_SET);
        CopyWithNotice(*source, *content, tag, notice);
    }
    const auto target = message.GetStreamProperty(tag, access_mode::kRead | access_mode::kWrite, 0);
    try {
        Replace(*target, *content);
    } catch (...) {
        target->Revert();
        throw;
    }
    message.MarkChanged();
}

}  // namespace plugins::mail_processing
