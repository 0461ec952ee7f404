#include "product/engine_checks.h"

#include <utility>

namespace reference_product {
namespace {

// Each holds a part of what the engine can do at a time, which all mails share.
constexpr std::size_t kMostUnread = 4;

}  // namespace

EngineChecks::EngineChecks(std::shared_ptr<ContentEngine> engine)
    : engine_(std::move(engine)), mail_(engine_ ? engine_->BeginMail() : nullptr) {}

void EngineChecks::Feed(std::span<const std::byte> piece) {
    if (!mail_ || piece.empty()) return;
    if (!current_) {
        while (unread_.size() >= kMostUnread) TakeOldest();
        current_ = mail_->Begin();
        wants_more_ = true;
    }
    if (wants_more_) wants_more_ = current_->Feed(piece);
}

void EngineChecks::Finish(Taker taker) {
    if (!current_) return;
    current_->Finish();
    unread_.push_back({std::move(current_), std::move(taker)});
}

void EngineChecks::Drop() noexcept { current_.reset(); }

void EngineChecks::TakeAll() {
    while (!unread_.empty()) TakeOldest();
}

void EngineChecks::TakeOldest() {
    const Unread oldest = std::move(unread_.front());
    unread_.pop_front();
    oldest.taker(oldest.check->Verdict());
}

}  // namespace reference_product
