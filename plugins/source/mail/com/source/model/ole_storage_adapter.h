#pragma once

#include <memory>

#include "mapi/mapi_interfaces.h"
#include "mapi/ole_functions.h"
#include "model/owner_thread.h"
#include "private_include/common/mail_message.h"
#include "vek/core/ref_ptr.h"
#include "vek/trace/tracer.h"

namespace plugins::mail_processing {

// Offers a structured storage as the bytes of a compound file, a copy in memory. It is read once
// from the start to the end; whoever wants it again opens it again. Writing is refused.
class OleStorageAdapter final : public vek::ObjectImpl<IDataStream> {
public:
    // Owner thread. Copies `source`; raises helpers::HResultCodeException.
    OleStorageAdapter(std::shared_ptr<OwnerThread> owner, vek::trace::TracerPtr tracer,
                      const mapi::OleFunctions& ole, IStorage& source);

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
        vek::RefPtr<ILockBytes> bytes;
        vek::RefPtr<IStorage> file;
        std::uint64_t size = 0;
        std::uint64_t position = 0;
    };

    static State Copy(const mapi::OleFunctions& ole, IStorage& source);

    const vek::trace::TracerPtr tracer_;
    OwnerBound<State> state_;
};

}  // namespace plugins::mail_processing
