#include "sandbox/outlook/mapi_memory.h"

#include <stdexcept>

namespace sandbox::outlook {

void* MapiMemory::Allocate(std::size_t size) {
    auto block = std::make_unique_for_overwrite<std::byte[]>(size);
    void* const buffer = block.get();
    const std::lock_guard lock(mutex_);
    chains_[buffer].first = std::move(block);
    return buffer;
}

void* MapiMemory::AllocateMore(std::size_t size, void* first) {
    auto block = std::make_unique_for_overwrite<std::byte[]>(size);
    void* const buffer = block.get();
    const std::lock_guard lock(mutex_);
    const auto chain = chains_.find(first);
    if (chain == chains_.end()) throw std::logic_error("no buffer to allocate more for");
    chain->second.more.push_back(std::move(block));
    return buffer;
}

bool MapiMemory::Free(void* first) {
    if (first == nullptr) return true;
    const std::lock_guard lock(mutex_);
    if (chains_.erase(first) != 0) return true;
    ++bad_frees_;
    return false;
}

std::size_t MapiMemory::LiveBuffers() const {
    const std::lock_guard lock(mutex_);
    return chains_.size();
}

std::size_t MapiMemory::BadFrees() const {
    const std::lock_guard lock(mutex_);
    return bad_frees_;
}

}  // namespace sandbox::outlook
