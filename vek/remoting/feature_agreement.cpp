#include "vek/remoting/feature_agreement.h"

namespace vek::remoting {

using trace::Hex;
namespace level = trace::level;

FeatureAgreement::FeatureAgreement(const ProtocolFeatures& mine, const ProtocolFeatures& required,
                                   StubRegistry& registry, trace::Hex connection,
                                   trace::TracerPtr tracer) noexcept
    : mine_(mine),
      required_(required),
      registry_(registry),
      connection_(connection),
      tracer_(std::move(tracer)) {}

result_t FeatureAgreement::SynchronizeWithPeerFeatures(const ProtocolFeatures& peer) noexcept {
    ProtocolFeatures effective;
    const result_t result = CalculateEffectiveFeatures(mine_, peer, required_, effective);
    if (Failed(result)) {
        trace::Write(tracer_, level::kError, "VEK remoting: ORPC Connection(", connection_,
                     ")::SynchronizeWithPeerFeatures has detected that the peer is running "
                     "incompatible version of VEK remoting. My features = ",
                     mine_, ", peer features = ", peer,
                     ". Most likely, the connection will be closed shortly.");
        return result;
    }
    trace::Write(tracer_, level::kRemotingDetail, "VEK remoting: ORPC Connection(", connection_,
                 "). Features announced by me = ", mine_,
                 ". Features announced by the peer = ", peer,
                 ". Calculated effective features for me = ", effective);

    const std::lock_guard guard(lock_);
    if (!synchronized()) return Apply(effective);
    Compare(effective);
    return result::kOk;
}

result_t FeatureAgreement::Apply(const ProtocolFeatures& effective) noexcept {
    if (ended_) {
        trace::Write(tracer_, level::kError,
                     "VEK remoting: Error applying effective protocol features to Connection(",
                     connection_, "). err = ", Hex(result::kRemoteCallFailed),
                     ", features = ", effective);
        return result::kRemoteCallFailed;
    }
    effective_ = effective;
    registry_.ApplyFeatures(effective);
    synchronized_.store(true, std::memory_order_release);
    trace::Write(tracer_, level::kRemotingDetail,
                 "VEK remoting: Effective protocol features successfully applied to Connection(",
                 connection_, "). Features = ", effective);
    return result::kOk;
}

void FeatureAgreement::Compare(const ProtocolFeatures& effective) const noexcept {
    trace::Write(tracer_, level::kRemotingDetail,
                 "VEK remoting: Attempt to synchronize the protocol features more than once in "
                 "Connection(",
                 connection_,
                 ")::SynchronizeWithPeerFeatures. Could be a simple request collision. Nothing to "
                 "worry about.");
    if (effective == effective_) return;
    trace::Write(tracer_, level::kWarning,
                 "VEK remoting: Attempted modification of effective protocol features after "
                 "initialization. ORPC Connection(",
                 connection_, "). Current features = ", effective_, ", new features = ", effective,
                 ". New features ignored.");
}

void FeatureAgreement::End() noexcept {
    const std::lock_guard guard(lock_);
    ended_ = true;
}

}  // namespace vek::remoting
