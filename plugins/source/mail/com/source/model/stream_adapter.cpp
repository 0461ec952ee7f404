#include "model/stream_adapter.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "internal/helpers/hresult_exception.h"
#include "mapi/mapi_streams.h"
#include "vek/trace/line.h"

namespace plugins::mail_processing {
namespace {

namespace trace = vek::trace;
using trace::level::kDetail;

// A MAPI stream takes 32-bit counts; a longer buffer is served in part.
ULONG Count(std::size_t size) noexcept {
    return static_cast<ULONG>(std::min<std::size_t>(size, std::numeric_limits<ULONG>::max()));
}

}  // namespace

StreamAdapter::StreamAdapter(std::shared_ptr<OwnerThread> owner, vek::trace::TracerPtr tracer,
                             vek::RefPtr<IStream> stream,
                             std::shared_ptr<PropertiesAccessor> accessor)
    : tracer_(std::move(tracer)),
      state_(std::move(owner), State{std::move(accessor), std::move(stream)}) {}

vek::result_t StreamAdapter::Read(std::span<std::byte> buffer, std::uint32_t& read) noexcept {
    return RunOnOwner(state_.owner(), [&] {
        ULONG count = 0;
        helpers::CheckHResult(state_->stream->Read(buffer.data(), Count(buffer.size()), &count));
        trace::Write(tracer_, kDetail, "bytes read: ", count);
        read = count;
    });
}

vek::result_t StreamAdapter::Write(std::span<const std::byte> bytes,
                                   std::uint32_t& written) noexcept {
    return RunOnOwner(state_.owner(), [&] {
        ULONG count = 0;
        helpers::CheckHResult(state_->stream->Write(bytes.data(), Count(bytes.size()), &count));
        trace::Write(tracer_, kDetail, "bytes written: ", count);
        state_->accessor->MarkChanged();
        written = count;
    });
}

vek::result_t StreamAdapter::Seek(std::int64_t offset, SeekOrigin origin,
                                  std::uint64_t& position) noexcept {
    return RunOnOwner(state_.owner(), [&] {
        position = mapi::Seek(*state_->stream, offset, static_cast<DWORD>(origin));
    });
}

vek::result_t StreamAdapter::GetSize(std::uint64_t& size) noexcept {
    return RunOnOwner(state_.owner(), [&] {
        const std::uint64_t result = mapi::Size(*state_->stream);
        trace::Write(tracer_, kDetail, "Get size result: ", result);
        size = result;
    });
}

vek::result_t StreamAdapter::SetSize(std::uint64_t size) noexcept {
    return RunOnOwner(state_.owner(), [&] {
        mapi::SetSize(*state_->stream, size);
        state_->accessor->MarkChanged();
    });
}

vek::result_t StreamAdapter::Commit() noexcept {
    return RunOnOwner(state_.owner(),
                      [&] { helpers::CheckHResult(state_->stream->Commit(STGC_DEFAULT)); });
}

}  // namespace plugins::mail_processing
