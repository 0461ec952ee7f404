#include "model/property_backup.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "internal/helpers/hresult_exception.h"
#include "mapi/interface_ids.h"
#include "mapi/mapi_streams.h"
#include "mapi/property_tags.h"
#include "model/properties_accessor.h"
#include "vek/core/text.h"
#include "vek/trace/line.h"

namespace plugins::mail_processing {
namespace {

namespace trace = vek::trace;
using trace::level::kDetail;
using trace::level::kWarning;

constexpr std::string_view kCannotBeKept = "Content of a property cannot be kept: ";

constexpr std::size_t kPiece = 65536;

// The forms of a property, the one that says most first: a narrow text has the characters of the
// code page alone, and HTML is held as the bytes that were sent.
std::vector<ULONG> FormsOf(ULONG tag, vek::platform::code_page_t page) {
    if (PROP_TYPE(tag) != PT_STRING8 || vek::platform::HasEverything(page)) return {tag};
    const ULONG wide = CHANGE_PROP_TYPE(tag, PT_UNICODE);
    if (tag != mapi::tag::kBodyHtmlA) return {wide, tag};
    return {mapi::tag::kHtml, wide, tag};
}

// In a catch block: the HRESULT of the call that failed, or E_FAIL.
HRESULT CurrentFailure() {
    try {
        throw;
    } catch (const helpers::HResultCodeException& failure) {
        return failure.hresult();
    } catch (...) {
        return E_FAIL;
    }
}

// The store does not have the property in the form that it was asked for.
bool IsAbsence(HRESULT failure) {
    return failure == MAPI_E_NOT_FOUND || failure == MAPI_E_NO_SUPPORT ||
           failure == MAPI_E_INTERFACE_NOT_SUPPORTED || failure == MAPI_E_INVALID_TYPE;
}

}  // namespace

vek::RefPtr<IStream> PropertyBackup::Open(ULONG tag, ULONG options, ULONG flags) {
    vek::RefPtr<IUnknown> object;
    accessor_.OpenProperty(tag, mapi::iid::kStream, options, flags, object);
    accessor_.LosePlaces(tag);
    return vek::RefPtr<IStream>::Adopt(static_cast<IStream*>(object.detach()));
}

PropertyBackup::PropertyBackup(PropertiesAccessor& accessor, ULONG tag,
                               vek::platform::code_page_t page, vek::trace::TracerPtr tracer)
    : tracer_(std::move(tracer)),
      accessor_(accessor),
      tag_(tag),
      page_(page),
      forms_(FormsOf(tag, page)) {}

PropertyBackup::~PropertyBackup() {
    if (!changed_ || !kept_) return;
    if (saved_) accessor_.MarkChanged();
    // Half a change would be saved: what fails once is tried again.
    for (int attempt = 0; attempt != 2; ++attempt) {
        try {
            if (IsStill(*kept_)) return;
            trace::Write(tracer_, kDetail, "Put back content of property ", trace::Hex(tag_));
            Write(*kept_);
            return;
        } catch (...) {
            trace::WriteCurrentException(tracer_, "Content of a property cannot be put back: ");
        }
    }
}

void PropertyBackup::Read(IStream& stream, ULONG tag) {
    const std::uint64_t size = mapi::Size(stream);
    auto reserved = accessor_.budget().TryTakeBytes(size);
    if (!reserved) {
        trace::Write(tracer_, kWarning, "Content of property ", trace::Hex(tag_),
                     " is too large to be kept, bytes: ", size);
        return;
    }
    Content content{tag, true, std::vector<std::byte>(static_cast<std::size_t>(size)),
                    std::move(*reserved)};
    // One byte more shows a stream that has more than it says.
    std::byte beyond;
    vek::Check(mapi::ReadFully(stream, content.bytes) == size &&
               mapi::Read(stream, std::span(&beyond, 1)) == 0);
    kept_ = std::move(content);
}

bool PropertyBackup::IsShown() const noexcept {
    return forms_.size() == 1 && tag_ != mapi::tag::kRtfCompressed;
}

void PropertyBackup::Keep() noexcept {
    if (std::exchange(tried_, true)) return;
    trace::Write(tracer_, kDetail, "Keep content of property ", trace::Hex(tag_));
    // What fails once is tried again: without the old content half a change may stay, and one that
    // seems to be missing would be deleted. It is missing when the store has said so twice.
    int missing = 0;
    for (int attempt = 0; attempt != 3; ++attempt) {
        form_failed_ = false;
        bool absent = true;
        for (const ULONG form : forms_) {
            try {
                return Read(*Open(form, 0, 0), form);
            } catch (...) {
                const HRESULT failure = CurrentFailure();
                absent = absent && failure == MAPI_E_NOT_FOUND;
                if (IsAbsence(failure)) continue;  // a store need not have every form as a stream
                form_failed_ = true;
                trace::WriteCurrentException(tracer_, kCannotBeKept);
            }
            if (attempt == 0) break;
        }
        if (absent && ++missing == 2) {
            kept_.emplace(Content{tag_, false, {}, {}});
            return;
        }
    }
}

void PropertyBackup::KeepFrom(IStream& stream) {
    trace::Write(tracer_, kDetail, "Keep content of property ", trace::Hex(tag_));
    mapi::Seek(stream, 0, STREAM_SEEK_SET);
    Read(stream, tag_);
    tried_ = true;
    form_failed_ = !IsShown();
}

bool PropertyBackup::IsNarrowWhole() noexcept {
    if (vek::platform::HasEverything(page_)) return true;
    if (!kept_) return false;
    try {
        const std::span<const std::byte> bytes(kept_->bytes);
        const auto* const chars = reinterpret_cast<const char*>(bytes.data());
        switch (PROP_TYPE(kept_->tag)) {
            case PT_UNICODE:
                return vek::platform::HasAllOf(
                    page_, {reinterpret_cast<const char16_t*>(chars), bytes.size() / 2});
            case PT_BINARY: {
                const auto* const sent =
                    accessor_.TryGetProperty<std::int32_t>(mapi::tag::kInternetCodePage);
                if (sent == nullptr) return vek::AsciiRun({chars, bytes.size()}) == bytes.size();
                const auto text = vek::platform::FromCodePage(
                    static_cast<vek::platform::code_page_t>(*sent), {chars, bytes.size()});
                return text && vek::platform::HasAllOf(page_, *text);
            }
            default:  // the store has it narrow alone
                return !form_failed_;
        }
    } catch (...) {
        trace::WriteCurrentException(tracer_);
        return false;
    }
}

void PropertyBackup::KeepNow(std::vector<std::byte> content) noexcept {
    if (!kept_) kept_.emplace(Content{tag_, true, std::move(content), {}});
}

void PropertyBackup::OnCommitted() noexcept {
    if (saved_) accessor_.MarkChanged();
    Forget(false);
}

void PropertyBackup::OnChange() noexcept {
    changed_ = true;
    if (std::exchange(tried_, true)) return;
    trace::Write(tracer_, kWarning, "Content of property ", trace::Hex(tag_),
                 " cannot be kept while it is written");
}

bool PropertyBackup::IsStill(const Content& content) {
    vek::RefPtr<IStream> stream;
    try {
        stream = Open(content.tag, 0, 0);
    } catch (...) {
        if (CurrentFailure() != MAPI_E_NOT_FOUND) throw;
    }
    if (!stream || !content.present) return !stream && !content.present;
    std::vector<std::byte> buffer(kPiece);
    std::span<const std::byte> left(content.bytes);
    for (;;) {
        const std::size_t count = mapi::ReadFully(*stream, buffer);
        const auto wanted = left.first(std::min(left.size(), count));
        if (!std::ranges::equal(std::span(buffer).first(count), wanted)) return false;
        left = left.subspan(count);
        if (count < buffer.size()) return left.empty();
    }
}

void PropertyBackup::Write(const Content& content) {
    if (!content.present) return accessor_.DeleteProperty(tag_);
    const vek::RefPtr<IStream> stream =
        Open(content.tag, STGM_READWRITE, MAPI_MODIFY | MAPI_CREATE);
    for (std::span<const std::byte> left(content.bytes); !left.empty();) {
        const std::size_t count = mapi::Write(*stream, left);
        vek::Check(count != 0);
        left = left.subspan(count);
    }
    helpers::CheckHResult(stream->Commit(STGC_DEFAULT));
    accessor_.MarkChanged();
}

}  // namespace plugins::mail_processing
