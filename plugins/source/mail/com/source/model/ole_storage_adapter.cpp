#include "model/ole_storage_adapter.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "internal/helpers/hresult_exception.h"
#include "vek/trace/line.h"

namespace plugins::mail_processing {
namespace {

namespace trace = vek::trace;
using trace::level::kDetail;

std::uint64_t Size(ILockBytes& bytes, vek::SourceLocation place = vek::SourceLocation::Here()) {
    STATSTG facts{};
    helpers::CheckHResult(bytes.Stat(&facts, STATFLAG_NONAME), place);
    return facts.cbSize.QuadPart;
}

}  // namespace

OleStorageAdapter::State OleStorageAdapter::Copy(const mapi::OleFunctions& ole, IStorage& source) {
    State state;
    state.bytes = mapi::NewMemoryLockBytes(ole);
    state.file = mapi::NewCompoundFile(ole, *state.bytes);
    helpers::CheckHResult(source.CopyTo(0, nullptr, nullptr, state.file.get()));
    // Before, the byte array need not hold what was copied.
    helpers::CheckHResult(state.file->Commit(STGC_DEFAULT));
    state.size = Size(*state.bytes);
    return state;
}

OleStorageAdapter::OleStorageAdapter(std::shared_ptr<OwnerThread> owner, trace::TracerPtr tracer,
                                     const mapi::OleFunctions& ole, IStorage& source)
    : tracer_(std::move(tracer)), state_(std::move(owner), Copy(ole, source)) {}

vek::result_t OleStorageAdapter::Read(std::span<std::byte> buffer, std::uint32_t& read) noexcept {
    return RunOnOwner(state_.owner(), [&] {
        // Some systems take asking for more than is left as a fault.
        const std::uint64_t left = state_->size - state_->position;
        const auto wanted =
            static_cast<ULONG>(std::min({left, std::uint64_t{buffer.size()},
                                         std::uint64_t{std::numeric_limits<ULONG>::max()}}));
        ULARGE_INTEGER from{};
        from.QuadPart = state_->position;
        ULONG count = 0;
        helpers::CheckHResult(state_->bytes->ReadAt(from, buffer.data(), wanted, &count));
        state_->position += count;
        trace::Write(tracer_, kDetail, "bytes read: ", count);
        read = count;
    });
}

vek::result_t OleStorageAdapter::Write(std::span<const std::byte>, std::uint32_t&) noexcept {
    return vek::result::kAccessDenied;
}

vek::result_t OleStorageAdapter::Seek(std::int64_t, SeekOrigin, std::uint64_t& position) noexcept {
    position = 0;
    return vek::result::kOk;
}

vek::result_t OleStorageAdapter::GetSize(std::uint64_t& size) noexcept {
    return RunOnOwner(state_.owner(), [&] {
        const std::uint64_t result = Size(*state_->bytes);
        trace::Write(tracer_, kDetail, "Get size result: ", result);
        size = result;
    });
}

vek::result_t OleStorageAdapter::SetSize(std::uint64_t) noexcept {
    return vek::result::kAccessDenied;
}

vek::result_t OleStorageAdapter::Commit() noexcept { return vek::result::kOk; }

}  // namespace plugins::mail_processing
