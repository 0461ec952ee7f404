#pragma once

#include <array>
#include <cstdint>
#include <mutex>
#include <optional>
#include <vector>

#include "mapi/mapi_interfaces.h"
#include "sandbox/outlook/call.h"

namespace sandbox::outlook {

// Counts the calls and decides which of them fail. Free-threaded.
class FaultPlan {
public:
    // The `nth` call of that kind, from 1 and from now on, fails with `code`.
    void FailNth(Call kind, std::uint32_t nth, HRESULT code);

    // Every call of that kind from now on fails with `code`.
    void FailEvery(Call kind, HRESULT code);

    // The `nth` call of whatever kind, from 1 and from now on, fails with `code`.
    void FailNthOfAll(std::uint32_t nth, HRESULT code);

    // No read of a stream gives more than `bytes` at once.
    void LimitReads(ULONG bytes);

    // Forgets the plan; the counts stay.
    void Clear();

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
    };

    mutable std::mutex mutex_;
    std::array<std::uint32_t, kCallKinds> counts_{};
    std::uint32_t total_ = 0;
    std::vector<Fault> faults_;
    std::optional<ULONG> read_limit_;
};

}  // namespace sandbox::outlook
