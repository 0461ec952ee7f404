#include "model/storage_copy.h"

#include <algorithm>
#include <limits>

#include "internal/helpers/hresult_exception.h"
#include "vek/core/throw.h"

namespace plugins::mail_processing {

StorageCopy::StorageCopy(const mapi::OleFunctions& ole, IStorage& source, const CheckBudget& budget,
                         std::uint64_t expected)
    : held_(budget.TakeBytes(expected)),
      bytes_(mapi::NewMemoryLockBytes(ole)),
      file_(mapi::NewCompoundFile(ole, *bytes_)) {
    helpers::CheckHResult(source.CopyTo(0, nullptr, nullptr, file_.get()));
    // Before, the byte array need not hold what was copied.
    helpers::CheckHResult(file_->Commit(STGC_DEFAULT));
    size_ = Size();
    held_ = {};
    held_ = budget.TakeBytes(size_);
}

std::uint32_t StorageCopy::Read(std::uint64_t& place, std::span<std::byte> bytes) {
    // Some systems take asking for more than is left as a fault.
    const auto wanted = static_cast<std::uint32_t>(
        std::min({std::uint64_t{bytes.size()}, size_ - place,
                  std::uint64_t{std::numeric_limits<std::uint32_t>::max()}}));
    std::uint32_t total = 0;
    for (ULONG count = 1; count != 0 && total != wanted; total += count) {
        ULARGE_INTEGER from{};
        from.QuadPart = place + total;
        helpers::CheckHResult(bytes_->ReadAt(from, &bytes[total], wanted - total, &count));
        vek::Check(count <= wanted - total);
    }
    place += total;
    return total;
}

std::uint64_t StorageCopy::Size() {
    STATSTG facts{};
    helpers::CheckHResult(bytes_->Stat(&facts, STATFLAG_NONAME));
    return facts.cbSize.QuadPart;
}

StorageCopies::Copy StorageCopies::Get(ULONG number, vek::FunctionRef<Copy()> make) {
    Entry& entry = entries_[number];
    Copy copy = entry.copy.lock();
    if (!copy) copy = make();
    if (entry.shared) entry.copy = copy;
    return copy;
}

}  // namespace plugins::mail_processing
