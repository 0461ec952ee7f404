#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "sandbox/demo/scenario/event.h"
#include "sandbox/demo/scenario/mail_shelf.h"

namespace sandbox::demo {

// Gives one event after the other, as random as mail is; the same for the same seed and answers of
// the mailbox. The product is up again after some events at most.
class RandomEvents {
public:
    RandomEvents(std::uint32_t seed, std::vector<std::string> mails)
        : random_(seed), mails_(std::move(mails)) {}

    ScenarioEvent Next(Mailbox& mailbox);

    // From 0 to below `end`.
    std::uint32_t Below(std::uint32_t end) { return static_cast<std::uint32_t>(random_()) % end; }

private:
    ScenarioEvent OfOutlook(Mailbox& mailbox);
    NthCall AnyCall();
    bool OneIn(std::uint32_t count) { return Below(count) == 0; }

    std::mt19937 random_;
    const std::vector<std::string> mails_;
    int down_for_ = 0;  // events until the product is back
};

}  // namespace sandbox::demo
