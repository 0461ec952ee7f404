#include "model/stream_adapter.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "vek/trace/line.h"

namespace plugins::mail_processing {
namespace {

namespace trace = vek::trace;
using trace::level::kDetail;

// The interface counts in 32 bits: of a longer buffer the first part is served.
template <class Byte>
std::span<Byte> Countable(std::span<Byte> bytes) noexcept {
    constexpr std::size_t kMax = std::numeric_limits<std::uint32_t>::max();
    return bytes.first(std::min(bytes.size(), kMax));
}

}  // namespace

StreamAdapter::StreamAdapter(std::shared_ptr<OwnerThread> owner, vek::trace::TracerPtr tracer,
                             std::shared_ptr<SharedStream> stream,
                             const std::shared_ptr<PropertiesAccessor>& accessor)
    : tracer_(std::move(tracer)),
      state_(std::move(owner),
             State{accessor, std::move(stream), accessor->budget().TakeStream()}) {}

vek::result_t StreamAdapter::Read(std::span<std::byte> buffer, std::uint32_t& read) noexcept {
    return RunOnOwner(state_.owner(), [&] {
        // A scanner takes a short read for the end: what lies behind it would go unseen.
        const auto count =
            static_cast<std::uint32_t>(state_->stream->Read(state_->place, Countable(buffer)));
        trace::Write(tracer_, kDetail, "bytes read: ", count);
        read = count;
    });
}

vek::result_t StreamAdapter::Write(std::span<const std::byte> bytes,
                                   std::uint32_t& written) noexcept {
    return RunOnOwner(state_.owner(), [&] {
        const auto count =
            static_cast<std::uint32_t>(state_->stream->Write(state_->place, Countable(bytes)));
        trace::Write(tracer_, kDetail, "bytes written: ", count);
        state_->accessor->MarkChanged();
        written = count;
    });
}

vek::result_t StreamAdapter::Seek(std::int64_t offset, SeekOrigin origin,
                                  std::uint64_t& position) noexcept {
    return RunOnOwner(state_.owner(), [&] {
        state_->stream->Seek(state_->place, offset, static_cast<DWORD>(origin));
        position = state_->place;
    });
}

vek::result_t StreamAdapter::GetSize(std::uint64_t& size) noexcept {
    return RunOnOwner(state_.owner(), [&] {
        const std::uint64_t result = state_->stream->Size();
        trace::Write(tracer_, kDetail, "Get size result: ", result);
        size = result;
    });
}

vek::result_t StreamAdapter::SetSize(std::uint64_t size) noexcept {
    return RunOnOwner(state_.owner(), [&] {
        state_->stream->SetSize(size);
        state_->accessor->MarkChanged();
    });
}

vek::result_t StreamAdapter::Commit() noexcept {
    return RunOnOwner(state_.owner(), [&] {
        try {
            state_->stream->Commit();
        } catch (...) {
            state_->accessor->ForgetStream();
            throw;
        }
    });
}

}  // namespace plugins::mail_processing
