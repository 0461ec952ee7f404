#pragma once

// What was deleted from mail or replaced in it, kept for its user for a while.
//
// An item is one file, N.kept: a line of JSON that says what it is, then the content, each byte
// XORed with a byte of the line's "key", 32 of them over and over: so nothing runs it, and other
// scanners do not take it for what it was.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "product/product_log.h"
#include "vek/platform/clock.h"

namespace reference_product {

// How long things are kept, and how much at most. When it is too much, the account that keeps most
// loses its oldest. Each item counts in whole clusters of 4 KiB, from when it is begun; with no
// bytes nothing is kept.
struct KeptLimits {
    std::chrono::days age{0};
    std::uint64_t bytes = 0;
    bool are_known = true;  // else nothing that is kept goes, and what finds no room is not kept
};

// What an item is. Texts are UTF-8, of which the store shortens long ones.
struct KeptItem {
    std::uint32_t id = 0;                // from 1, each once; given by the store, as time and size
    vek::platform::filetime_t time = 0;  // UTC
    std::string account = {};            // the user's
    std::string subject = {};
    std::string name = {};    // the attachment's
    std::string reason = {};  // why it was taken away
    std::uint64_t size = 0;   // of the content, in bytes
};

// The items in a folder. Any thread may call it; one store at a time has a folder.
class KeptStore {
public:
    // Takes the content in pieces. Raises std::runtime_error when it cannot be kept.
    using Sink = std::function<void(std::span<const std::byte>)>;

    // Makes the folder, removes what a process that ended in the middle has left, and expires.
    // `limits` is asked each time. `clock` must outlive the store. Raises std::exception without a
    // folder.
    KeptStore(std::filesystem::path folder, std::function<KeptLimits()> limits, Log log,
              vek::platform::Clock& clock = vek::platform::TheClock());

    // Keeps a content that `read` hands to its sink; gives the item's number, 0 when nothing is to
    // be kept. Until it returns there is no such item, however the process ends. Raises what `read`
    // raises, and std::runtime_error for a content that cannot be kept: one of more than a
    // sixteenth of all that may be is to find its room without others losing more than they keep
    // beyond it.
    std::uint32_t Keep(KeptItem item, const std::function<void(const Sink&)>& read);

    // Removes an item again: what it holds was not taken away after all.
    void Remove(std::uint32_t id) noexcept;

    // Removes what is too old or too much. What cannot be removed is tried again the next time.
    void Expire();
    // As Expire, unless that was done within a day.
    void ExpireDaily();

private:
    struct Entry {
        std::uint32_t id;
        vek::platform::filetime_t time;
        std::uint64_t cost;
        bool is_stuck = false;  // it could not be removed today
    };
    struct Account {
        std::deque<Entry> items;       // the oldest first
        std::uint64_t cost = 0;        // of them
        std::uint64_t unfinished = 0;  // what those that are being kept count
    };
    class Room;

    std::filesystem::path FileOf(std::uint32_t id) const;
    // All with the lock.
    bool Drop(Account& account, std::deque<Entry>::iterator item, const char* why);
    void DropOld(std::chrono::days age);
    std::uint64_t Cost() const;
    bool CanMakeRoom(const Account& account, std::uint64_t cost, std::uint64_t most) const;
    void MakeRoom(std::uint64_t most);

    const std::filesystem::path folder_;
    const std::function<KeptLimits()> limits_;
    const Log log_;
    vek::platform::Clock& clock_;
    std::mutex lock_;  // guards what follows
    std::uint32_t last_id_ = 0;
    vek::platform::filetime_t expired_ = 0;
    std::map<std::string, Account> accounts_;
};

// The store for what one user's mail loses. Without a store nothing is kept.
struct KeptFor {
    std::shared_ptr<KeptStore> store;
    std::string account;
};

// For the administrator, beside a store of another process. Items that are gone or malformed are
// left out. Raises std::filesystem::filesystem_error for a folder that may not be read.
std::vector<KeptItem> ListKept(const std::filesystem::path& folder);

// Writes an item's content into a new file of `to`, a folder, and gives its path: the number and as
// much of the attachment's name as is safe. Raises std::runtime_error that says what is wrong, also
// when the file is there already.
std::filesystem::path RestoreKept(const std::filesystem::path& folder, std::uint32_t id,
                                  const std::filesystem::path& to);

}  // namespace reference_product
