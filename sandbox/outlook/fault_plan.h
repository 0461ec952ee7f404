#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <limits>
#include <mutex>
#include <optional>
#include <vector>

#include "mapi/mapi_interfaces.h"
#include "sandbox/outlook/call.h"

namespace sandbox::outlook {

// Counts the calls and decides which of them fail. A success code other than S_OK has a call
// succeed without doing or giving anything. Free-threaded.
class FaultPlan {
public:
    // The `nth` call of that kind, from 1 and from now on, fails with `code`.
    void FailNth(Call kind, std::uint32_t nth, HRESULT code);

    // Every call of that kind from now on fails with `code`.
    void FailEvery(Call kind, HRESULT code);

    // The `nth` call of whatever kind, from 1 and from now on, fails with `code`.
    void FailNthOfAll(std::uint32_t nth, HRESULT code);

    // Within the `nth` call of that kind, from 1 and from now on, `action` runs on its thread; the
    // call goes on afterwards.
    void RunAtNth(Call kind, std::uint32_t nth, std::function<void()> action);

    // No read of a stream gives more than `bytes` at once.
    void LimitReads(ULONG bytes);

    // Forgets the plan; the counts stay.
    void Clear();

    // The kinds of the calls that failed as planned, in their order.
    std::vector<Call> Failed() const;

    // How many calls there were, failed ones included.
    std::uint32_t Count(Call kind) const;
    std::uint32_t Total() const;

    // For the objects: counts a call and says S_OK or the code it fails with.
    HRESULT Enter(Call kind);

    // For the streams: how much of `wanted` a read may give.
    ULONG ReadLimit(ULONG wanted) const;

private:
    struct Fault {
        std::optional<Call> kind;  // any kind without one
        std::uint32_t at;          // 0 for every call
        HRESULT code;
        std::function<void()> action = {};  // instead of the failure
    };

    void Add(Fault fault);

    // Without a plan, a call costs no more than one count.
    std::array<std::atomic<std::uint32_t>, kCallKinds> counts_{};
    std::atomic<ULONG> read_limit_ = std::numeric_limits<ULONG>::max();
    std::atomic<bool> planned_ = false;  // there are faults
    mutable std::mutex mutex_;
    std::vector<Fault> faults_;
    std::vector<Call> failed_;
};

}  // namespace sandbox::outlook
