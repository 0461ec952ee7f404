#pragma once

#include <memory>

#include "model/owner_thread.h"
#include "model/storage_copy.h"
#include "private_include/common/mail_message.h"
#include "vek/trace/tracer.h"

namespace plugins::mail_processing {

// Offers the copy of a structured storage as a stream. It is read once from the start to the end;
// whoever wants it again opens it again. Writing is refused.
class OleStorageAdapter final : public vek::ObjectImpl<IDataStream> {
public:
    // Owner thread. `open` is this stream's part of the check's budget.
    OleStorageAdapter(std::shared_ptr<OwnerThread> owner, vek::trace::TracerPtr tracer,
                      StorageCopies::Copy copy, CheckBudget::Reservation open);

    vek::result_t Read(std::span<std::byte> buffer, std::uint32_t& read) noexcept override;
    // kAccessDenied.
    vek::result_t Write(std::span<const std::byte> bytes, std::uint32_t& written) noexcept override;
    // Does nothing: the position stays.
    vek::result_t Seek(std::int64_t offset, SeekOrigin origin,
                       std::uint64_t& position) noexcept override;
    // Of the compound file.
    vek::result_t GetSize(std::uint64_t& size) noexcept override;
    // kAccessDenied.
    vek::result_t SetSize(std::uint64_t size) noexcept override;
    // Does nothing.
    vek::result_t Commit() noexcept override;

private:
    struct State {
        StorageCopies::Copy copy;
        CheckBudget::Reservation open;
        std::uint64_t place = 0;
    };

    const vek::trace::TracerPtr tracer_;
    OwnerBound<State> state_;
};

}  // namespace plugins::mail_processing
