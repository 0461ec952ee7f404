#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

#include "mapi/mapi_interfaces.h"
#include "sandbox/outlook/object_model/object_call.h"

namespace sandbox::outlook {

// Counts the calls of the object model and decides which of them fail, and what happens within
// them. Outlook's thread, or any thread while that one has nothing to do.
class CallPlan {
public:
    // The `nth` call of that kind, from 1 and from now on, fails with `code`.
    void FailNth(ObjectCall kind, std::uint32_t nth, HRESULT code);

    // The `nth` call of whatever kind, from 1 and from now on, fails with `code`.
    void FailNthOfAll(std::uint32_t nth, HRESULT code);

    // Every call of that kind from now on fails with `code`.
    void FailEvery(ObjectCall kind, HRESULT code);

    // Within the `nth` call of that kind, from 1 and from now on, `action` runs; the call goes on
    // afterwards. The action may raise events.
    void RunAtNth(ObjectCall kind, std::uint32_t nth, std::function<void()> action);

    // Forgets the plan; the counts stay.
    void Clear() { steps_.clear(); }

    // How many calls there were, failed ones included.
    std::uint32_t Count(ObjectCall kind) const { return counts_[static_cast<std::size_t>(kind)]; }
    std::uint32_t Total() const { return total_; }
    // How many of them failed as planned.
    std::uint32_t Failed() const { return failed_; }

    // For the objects: counts a call and says S_OK or the code it fails with.
    HRESULT Enter(ObjectCall kind);

private:
    struct Step {
        ObjectCall kind;   // kCount for any
        std::uint32_t at;  // of the calls of that kind; 0 for every one
        HRESULT code;
        std::function<void()> action;  // instead of the failure
    };

    std::uint32_t CountOf(ObjectCall kind) const {
        return kind == ObjectCall::kCount ? total_ : Count(kind);
    }

    std::array<std::uint32_t, kObjectCallKinds> counts_{};
    std::uint32_t total_ = 0;
    std::uint32_t failed_ = 0;
    std::vector<Step> steps_;
};

}  // namespace sandbox::outlook
