#pragma once

#include <memory>
#include <utility>

#include "vek/core/ref_ptr.h"
#include "vek/core/service_locator.h"
#include "vek/platform/lock.h"

namespace vek::remoting {

// A process as its peers use it: keeps running while it is locked, and offers its services. Every
// connection that handed out the service locator keeps it locked. Any thread may call it.
class MasterObject {
public:
    virtual ~MasterObject() = default;

    // A failure refuses the peer. Each success is matched by one Unlock.
    virtual result_t Lock() noexcept = 0;
    virtual void Unlock() noexcept = 0;

    virtual result_t GetServiceLocator(RefPtr<IServiceLocator>& locator) noexcept = 0;
};

// That of a process which runs until it is told to end, whoever is connected.
class SteadyMaster final : public MasterObject {
public:
    explicit SteadyMaster(RefPtr<IServiceLocator> locator) noexcept
        : locator_(std::move(locator)) {}

    result_t Lock() noexcept override { return result::kOk; }
    void Unlock() noexcept override {}
    result_t GetServiceLocator(RefPtr<IServiceLocator>& locator) noexcept override {
        locator = locator_;
        return result::kOk;
    }

private:
    const RefPtr<IServiceLocator> locator_;
};

// One connection's lock on the master object: taken once, given back at the connection's end. Any
// thread may call it; the master is called without the lock.
class MasterLock {
public:
    // `master` may be null: then there is nothing to lock.
    explicit MasterLock(std::shared_ptr<MasterObject> master) noexcept
        : master_(std::move(master)) {}
    ~MasterLock() { End(); }
    MasterLock(const MasterLock&) = delete;
    MasterLock& operator=(const MasterLock&) = delete;

    MasterObject* master() const noexcept { return master_.get(); }

    // Gives what the master answers, or kOk when it is locked already; kRemoteCallFailed after End.
    result_t Lock() noexcept;
    void End() noexcept;

private:
    const std::shared_ptr<MasterObject> master_;
    platform::Lock lock_;  // guards what follows
    bool locked_ = false;
    bool ended_ = false;
};

}  // namespace vek::remoting
