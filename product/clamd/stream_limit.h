#pragma once

// The limit of streams to clamd in this process.

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace reference_product {

// Shares streams out: first come, first served, but an account whose messages have three quarters
// of them waits, so that nobody keeps all from the others. Any thread may call it; it must outlive
// its slots.
class StreamLimit {
    struct Account {
        StreamLimit* limit;
        std::size_t held;
    };
    struct GiveBack {
        void operator()(Account* account) const noexcept { account->limit->Free(*account); }
    };

public:
    // `most` is at least 1.
    explicit StreamLimit(std::size_t most)
        : share_(most - std::min(most - 1, std::max<std::size_t>(most / 4, 1))),
          free_(static_cast<std::ptrdiff_t>(most)) {}

    // The right to one stream.
    using Slot = std::unique_ptr<Account, GiveBack>;

    // Waits for a slot that the account may have; null when there is none until `deadline`.
    Slot TakeUntil(const std::string& account, std::chrono::steady_clock::time_point deadline) {
        std::unique_lock guard(lock_);
        Account& own = Of(account);
        const auto place = waiting_.insert(waiting_.end(), &own);
        const auto is_next = [&] {
            const auto may_have = [this](Account* waiting) { return waiting->held < share_; };
            return free_ > 0 && std::ranges::find_if(waiting_, may_have) == place;
        };
        const bool has_one = freed_.wait_until(guard, deadline, is_next);
        waiting_.erase(place);
        freed_.notify_all();  // somebody else is the next one now
        return has_one ? Given(own) : nullptr;
    }
    // Takes a slot, if need be beyond the limit.
    Slot Take(const std::string& account) {
        const std::lock_guard guard(lock_);
        return Given(Of(account));
    }

private:
    // The machine's accounts are few: none is forgotten.
    Account& Of(const std::string& account) {
        return accounts_.try_emplace(account, Account{this, 0}).first->second;
    }
    Slot Given(Account& account) noexcept {
        --free_;
        ++account.held;
        return Slot(&account);
    }
    void Free(Account& account) noexcept {
        const std::lock_guard guard(lock_);
        ++free_;
        --account.held;
        freed_.notify_all();
    }

    const std::size_t share_;  // the most that one account may have
    std::mutex lock_;          // guards what follows
    std::condition_variable freed_;
    std::ptrdiff_t free_;
    std::map<std::string, Account> accounts_;
    std::list<Account*> waiting_;  // who came first is first
};

}  // namespace reference_product
