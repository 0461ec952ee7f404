#pragma once

#include <memory>

#include "mapi/mapi_interfaces.h"
#include "model/owner_thread.h"
#include "model/properties_accessor.h"
#include "private_include/common/mail_message.h"
#include "vek/core/ref_ptr.h"
#include "vek/trace/tracer.h"

namespace plugins::mail_processing {

// Offers one MAPI stream to the scanner, from its start. Writing marks the message as changed, so
// that it is saved with the last of its users.
class StreamAdapter final : public vek::ObjectImpl<IDataStream> {
public:
    // Owner thread. `accessor` is that of the object that the stream belongs to. Raises
    // vek::ResultCodeException kInsufficientResources when the check has too many open streams.
    StreamAdapter(std::shared_ptr<OwnerThread> owner, vek::trace::TracerPtr tracer,
                  std::shared_ptr<SharedStream> stream,
                  const std::shared_ptr<PropertiesAccessor>& accessor);

    vek::result_t Read(std::span<std::byte> buffer, std::uint32_t& read) noexcept override;
    vek::result_t Write(std::span<const std::byte> bytes, std::uint32_t& written) noexcept override;
    vek::result_t Seek(std::int64_t offset, SeekOrigin origin,
                       std::uint64_t& position) noexcept override;
    vek::result_t GetSize(std::uint64_t& size) noexcept override;
    vek::result_t SetSize(std::uint64_t size) noexcept override;
    vek::result_t Commit() noexcept override;

private:
    // The stream is released before the accessor that may save what it wrote.
    struct State {
        std::shared_ptr<PropertiesAccessor> accessor;
        std::shared_ptr<SharedStream> stream;
        CheckBudget::Reservation open;
        std::uint64_t place = 0;
    };

    const vek::trace::TracerPtr tracer_;
    OwnerBound<State> state_;
};

}  // namespace plugins::mail_processing
