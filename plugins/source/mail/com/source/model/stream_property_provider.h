#pragma once

#include <memory>

#include "mapi/mapi_functions.h"
#include "model/owner_thread.h"
#include "model/properties_accessor.h"
#include "private_include/common/mail_message.h"
#include "vek/core/ref_ptr.h"
#include "vek/trace/tracer.h"

namespace plugins::mail_processing {

// Stands for one body of one message. Reading is always allowed; writing is refused for encrypted
// and signed messages.
class StreamPropertyProvider final : public vek::ObjectImpl<IPropertyProvider> {
public:
    // Owner thread. `tag` names the body. Raises vek::ResultCodeException kNotFound when the
    // message does not have it or it cannot be opened.
    StreamPropertyProvider(std::shared_ptr<OwnerThread> owner, vek::trace::TracerPtr tracer,
                           std::shared_ptr<const mapi::MapiFunctions> functions,
                           std::shared_ptr<PropertiesAccessor> accessor, ULONG tag);

    // Saves the message at once.
    vek::result_t Delete() noexcept override;
    // The rich body's stream is plain RTF.
    vek::result_t OpenStream(std::uint32_t access, std::uint32_t mode,
                             IDataStream** stream) noexcept override;
    vek::result_t GetName(std::string& name) noexcept override;
    vek::result_t GetFileName(std::string& name) noexcept override;
    vek::result_t GetMimeTag(std::string& tag) noexcept override;
    vek::result_t GetSize(std::uint32_t& size) noexcept override;
    vek::result_t Rename(std::string_view name) noexcept override;

private:
    struct State {
        std::shared_ptr<const mapi::MapiFunctions> functions;
        std::shared_ptr<PropertiesAccessor> accessor;
    };

    // Answers an operation for a property that bodies do not have: kPropertyNotFound while the
    // check lasts, the failure to reach the owner thread after it.
    vek::result_t NoSuchProperty() noexcept;
    std::shared_ptr<SharedStream> Open(std::uint32_t access, std::uint32_t mode);

    const vek::trace::TracerPtr tracer_;
    const ULONG tag_;
    OwnerBound<State> state_;
};

}  // namespace plugins::mail_processing
