#include "model/owner_thread.h"

#include "vek/core/current_exception.h"

namespace plugins::mail_processing {

vek::result_t RunOnOwner(OwnerThread& owner, vek::FunctionRef<void()> call) noexcept {
    try {
        return owner.Invoke(call);
    } catch (...) {
        return vek::CurrentExceptionResult();
    }
}

}  // namespace plugins::mail_processing
