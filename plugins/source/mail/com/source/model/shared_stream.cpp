#include "model/shared_stream.h"

#include <algorithm>
#include <array>
#include <utility>

#include "internal/helpers/hresult_exception.h"
#include "mapi/mapi_streams.h"
#include "vek/core/throw.h"

namespace plugins::mail_processing {

SharedStream::~SharedStream() {
    if (changed_) stream_->Revert();
    stream_.reset();  // before the one that it compresses into
}

void SharedStream::BeforeChange() {
    if (changed_) return;
    // While it is compressed into, it stands where its user needs it.
    if (backup_ && backup_->IsWanted() && plain_.expired()) {
        place_.reset();
        backup_->KeepFrom(*stream_);
    }
    OnChange();
}

void SharedStream::OnChange() noexcept {
    changed_ = true;
    if (compressed_) compressed_->OnChange();
    if (backup_) backup_->OnChange();
}

// Streams of properties need not go anywhere but to their start: from there it is read on.
void SharedStream::MoveTo(std::uint64_t place) {
    if (place_ == place) return;
    place_.reset();
    LARGE_INTEGER there{};
    there.QuadPart = static_cast<std::int64_t>(place);
    if (place != 0 && SUCCEEDED(stream_->Seek(there, STREAM_SEEK_SET, nullptr))) {
        place_ = place;
        return;
    }
    mapi::Seek(*stream_, 0, STREAM_SEEK_SET);
    std::array<std::byte, 4096> skipped;
    for (std::uint64_t left = place; left != 0;) {
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(left, skipped.size()));
        const std::size_t count = mapi::ReadFully(*stream_, std::span(skipped).first(wanted));
        vek::Check(count == wanted);  // the stream has become shorter
        left -= count;
    }
    place_ = place;
}

std::size_t SharedStream::Read(std::uint64_t& place, std::span<std::byte> bytes) {
    MoveTo(place);
    place_.reset();
    const std::size_t count = mapi::ReadFully(*stream_, bytes);
    place_ = place += count;
    return count;
}

std::size_t SharedStream::Write(std::uint64_t& place, std::span<const std::byte> bytes) {
    BeforeChange();
    MoveTo(place);
    place_.reset();
    const std::size_t count = mapi::Write(*stream_, bytes);
    place_ = place += count;
    return count;
}

void SharedStream::Seek(std::uint64_t& place, std::int64_t offset, DWORD origin) {
    if (origin == STREAM_SEEK_CUR) MoveTo(place);
    place_ = place = mapi::Seek(*stream_, offset, origin);
}

std::uint64_t SharedStream::Size() { return mapi::Size(*stream_); }

void SharedStream::SetSize(std::uint64_t size) {
    BeforeChange();
    mapi::SetSize(*stream_, size);
}

void SharedStream::Commit() {
    // A commit that fails may leave a mixture of the old and the new bytes.
    if (compressed_) compressed_->changed_ = true;
    helpers::CheckHResult(stream_->Commit(STGC_DEFAULT));
    if (compressed_) compressed_->OnCommitted();
    OnCommitted();
}

void SharedStream::OnCommitted() noexcept {
    changed_ = false;
    if (backup_) backup_->OnCommitted();
}

IStream& SharedStream::Emptied() {
    if (backup_) backup_->KeepLater();
    BeforeChange();
    IStream& stream = AtStart();
    mapi::SetSize(stream, 0);
    return stream;
}

void SharedStream::ReplaceFailed(std::vector<std::byte> old) noexcept {
    if (backup_) backup_->KeepNow(std::move(old));
}

IStream& SharedStream::AtStart() {
    place_.reset();
    mapi::Seek(*stream_, 0, STREAM_SEEK_SET);
    return *stream_;
}

std::shared_ptr<SharedStream> SharedStream::Uncompress(
    const std::shared_ptr<SharedStream>& compressed, const mapi::MapiFunctions& functions,
    ULONG flags) {
    if (!compressed->plain_.expired()) vek::ThrowResult(vek::result::kNotReady);
    vek::RefPtr<IStream> plain;
    helpers::CheckGiven(
        functions.wrap_compressed_rtf_stream(&compressed->AtStart(), flags, plain.put()), plain);
    auto shared = std::make_shared<SharedStream>(std::move(plain));
    shared->compressed_ = compressed;
    compressed->plain_ = shared;
    return shared;
}

}  // namespace plugins::mail_processing
