#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <span>

#include "mapi/mapi_interfaces.h"
#include "mapi/ole_functions.h"
#include "model/check_budget.h"
#include "vek/core/function_ref.h"
#include "vek/core/ref_ptr.h"

namespace plugins::mail_processing {

// A structured storage's copy in memory, the bytes of a compound file. Its readers share it, each
// with a place of his own, in bytes. Used on the thread that owns the message; operations raise
// helpers::HResultCodeException.
class StorageCopy {
public:
    // Copies `source`, which has about `expected` bytes; 0 when that is not known. Raises
    // vek::ResultCodeException kInsufficientResources when `budget` has not as many left.
    StorageCopy(const mapi::OleFunctions& ole, IStorage& source, const CheckBudget& budget,
                std::uint64_t expected);

    // Reads on until `bytes` is full or the file is at its end, and gives the count. Of a longer
    // buffer than it can count the first part is served.
    std::uint32_t Read(std::uint64_t& place, std::span<std::byte> bytes);
    std::uint64_t Size();

private:
    CheckBudget::Reservation held_;
    const vek::RefPtr<ILockBytes> bytes_;
    const vek::RefPtr<IStorage> file_;
    std::uint64_t size_ = 0;
};

// The copies that a check's readers have of its attachments. Used on the thread that owns the
// message.
class StorageCopies {
public:
    using Copy = std::shared_ptr<StorageCopy>;

    // The copy of attachment `number`: the one that is there, else what `make` makes.
    Copy Get(ULONG number, vek::FunctionRef<Copy()> make);

    // The attachment was changed: whoever asks now gets a new copy.
    void Forget(ULONG number) { entries_[number].copy.reset(); }

    // The attachment can be changed at any time from now on: whoever asks gets a copy of his own.
    void StopSharing(ULONG number) { entries_[number] = {{}, false}; }

private:
    struct Entry {
        std::weak_ptr<StorageCopy> copy;
        bool shared = true;
    };

    std::map<ULONG, Entry> entries_;
};

}  // namespace plugins::mail_processing
