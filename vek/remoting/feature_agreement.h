#pragma once

#include <atomic>
#include <mutex>

#include "vek/platform/lock.h"
#include "vek/remoting/protocol_features.h"
#include "vek/remoting/stub_registry.h"
#include "vek/trace/line.h"
#include "vek/trace/tracer.h"

namespace vek::remoting {

// Agrees the protocol features of one connection with its peer, once. Operations may be called from
// any thread; the lock is held while the features are compared or applied, and traced.
class FeatureAgreement {
public:
    // `connection` is its name in trace lines. The effective features are applied to `registry`,
    // which must outlive the agreement. A peer without the features of `required` is refused.
    FeatureAgreement(const ProtocolFeatures& mine, const ProtocolFeatures& required,
                     StubRegistry& registry, trace::Hex connection,
                     trace::TracerPtr tracer) noexcept;

    // The first call makes the effective features; later ones compare with those and trace.
    // kInvalidVersion for a peer that cannot be worked with, kRemoteCallFailed after End.
    result_t SynchronizeWithPeerFeatures(const ProtocolFeatures& peer) noexcept;

    bool synchronized() const noexcept { return synchronized_.load(std::memory_order_acquire); }

    // All off until the features are synchronized.
    ProtocolFeatures effective() const noexcept {
        // Written once, before the flag.
        return synchronized() ? effective_ : ProtocolFeatures{};
    }

    // The connection has ended: features that are not agreed yet never will be.
    void End() noexcept;

private:
    result_t Apply(const ProtocolFeatures& effective) noexcept;
    void Compare(const ProtocolFeatures& effective) const noexcept;

    const ProtocolFeatures mine_;
    const ProtocolFeatures required_;
    StubRegistry& registry_;
    const trace::Hex connection_;
    const trace::TracerPtr tracer_;

    platform::Lock lock_;  // guards what follows; effective_ is also read after synchronized_
    ProtocolFeatures effective_{};
    bool ended_ = false;
    std::atomic<bool> synchronized_{false};
};

}  // namespace vek::remoting
