#include "model/ole_storage_adapter.h"

#include <utility>

#include "vek/trace/line.h"

namespace plugins::mail_processing {
namespace {

namespace trace = vek::trace;
using trace::level::kDetail;

}  // namespace

OleStorageAdapter::OleStorageAdapter(std::shared_ptr<OwnerThread> owner, trace::TracerPtr tracer,
                                     StorageCopies::Copy copy, CheckBudget::Reservation open)
    : tracer_(std::move(tracer)),
      state_(std::move(owner), State{std::move(copy), std::move(open)}) {}

vek::result_t OleStorageAdapter::Read(std::span<std::byte> buffer, std::uint32_t& read) noexcept {
    return RunOnOwner(state_.owner(), [&] {
        const std::uint32_t count = state_->copy->Read(state_->place, buffer);
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
        const std::uint64_t result = state_->copy->Size();
        trace::Write(tracer_, kDetail, "Get size result: ", result);
        size = result;
    });
}

vek::result_t OleStorageAdapter::SetSize(std::uint64_t) noexcept {
    return vek::result::kAccessDenied;
}

vek::result_t OleStorageAdapter::Commit() noexcept { return vek::result::kOk; }

}  // namespace plugins::mail_processing
