// How a connection agrees its protocol features.

#include <mutex>

#include "vek/remoting/connection.h"
#include "vek/trace/line.h"

namespace vek::remoting {

using trace::Hex;
namespace level = trace::level;

result_t Connection::SynchronizeWithPeerFeatures(const ProtocolFeatures& peer) noexcept {
    const trace::TracerPtr& tracer = config_.tracer;
    const ProtocolFeatures& mine = config_.features;
    ProtocolFeatures effective;
    const result_t result = CalculateEffectiveFeatures(mine, peer, config_.required, effective);
    if (Failed(result)) {
        trace::Write(tracer, level::kError, "VEK remoting: ORPC Connection(", NameOf(this),
                     ")::SynchronizeWithPeerFeatures has detected that the peer is running "
                     "incompatible version of VEK remoting. My features = ",
                     mine, ", peer features = ", peer,
                     ". Most likely, the connection will be closed shortly.");
        return result;
    }
    trace::Write(tracer, level::kRemotingDetail, "VEK remoting: ORPC Connection(", NameOf(this),
                 "). Features announced by me = ", mine,
                 ". Features announced by the peer = ", peer,
                 ". Calculated effective features for me = ", effective);

    const std::lock_guard guard(lock_);
    if (!synchronized_.load(std::memory_order_relaxed)) {
        if (ended_) {
            trace::Write(tracer, level::kError,
                         "VEK remoting: Error applying effective protocol features to Connection(",
                         NameOf(this), "). err = ", Hex(result::kRemoteCallFailed),
                         ", features = ", effective);
            return result::kRemoteCallFailed;
        }
        effective_ = effective;
        registry_->ApplyFeatures(effective);
        synchronized_.store(true, std::memory_order_release);
        trace::Write(
            tracer, level::kRemotingDetail,
            "VEK remoting: Effective protocol features successfully applied to Connection(",
            NameOf(this), "). Features = ", effective);
        return result::kOk;
    }

    trace::Write(tracer, level::kRemotingDetail,
                 "VEK remoting: Attempt to synchronize the protocol features more than once in "
                 "Connection(",
                 NameOf(this),
                 ")::SynchronizeWithPeerFeatures. Could be a simple request collision. Nothing to "
                 "worry about.");
    if (effective.bytes() != effective_.bytes()) {
        trace::Write(tracer, level::kWarning,
                     "VEK remoting: Attempted modification of effective protocol features after "
                     "initialization. ORPC Connection(",
                     NameOf(this), "). Current features = ", effective_,
                     ", new features = ", effective, ". New features ignored.");
    }
    return result::kOk;
}

bool Connection::features_synchronized() const noexcept {
    return synchronized_.load(std::memory_order_acquire);
}

ProtocolFeatures Connection::effective_features() const noexcept {
    // Written once, before the flag.
    return features_synchronized() ? effective_ : ProtocolFeatures{};
}

}  // namespace vek::remoting
