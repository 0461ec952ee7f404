#include "vek/remoting/master_object.h"

namespace vek::remoting {

result_t MasterLock::Lock() noexcept {
    {
        const std::lock_guard guard(lock_);
        if (ended_) return result::kRemoteCallFailed;
        if (locked_) return result::kOk;
    }
    const result_t result = master_->Lock();
    if (Failed(result)) return result;
    bool surplus;  // another thread was first, or the end
    {
        const std::lock_guard guard(lock_);
        surplus = ended_ || locked_;
        if (!surplus) locked_ = true;
    }
    if (surplus) master_->Unlock();
    return result::kOk;
}

void MasterLock::End() noexcept {
    bool unlock;
    {
        const std::lock_guard guard(lock_);
        ended_ = true;
        unlock = std::exchange(locked_, false);
    }
    if (unlock) master_->Unlock();
}

}  // namespace vek::remoting
