#include "sandbox/outlook/runtime.h"

namespace sandbox::outlook {

HRESULT Runtime::Enter(Call kind, std::thread::id owner) {
    if (owner != std::this_thread::get_id()) ++foreign_calls_;
    return faults_.Enter(kind);
}

std::vector<ULONG> Runtime::save_flags() const {
    const std::lock_guard lock(mutex_);
    return save_flags_;
}

void Runtime::NoteSave(ULONG flags) {
    const std::lock_guard lock(mutex_);
    save_flags_.push_back(flags);
}

}  // namespace sandbox::outlook
