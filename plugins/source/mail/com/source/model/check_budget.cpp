#include "model/check_budget.h"

#include "vek/core/throw.h"

namespace plugins::mail_processing {
namespace {

void RequireLeft(std::uint64_t left, std::uint64_t count, vek::SourceLocation place) {
    if (count > left) vek::ThrowResult(vek::result::kInsufficientResources, place);
}

}  // namespace

CheckBudget::Reservation CheckBudget::TakeBytes(std::uint64_t count,
                                                vek::SourceLocation place) const {
    RequireLeft(left_->bytes, count, place);
    return {{left_, &left_->bytes}, count};
}

CheckBudget::Reservation CheckBudget::TakeStream(vek::SourceLocation place) const {
    RequireLeft(left_->streams, 1, place);
    return {{left_, &left_->streams}, 1};
}

std::optional<CheckBudget::Reservation> CheckBudget::TryTakeBytes(
    std::uint64_t count) const noexcept {
    if (count > left_->bytes) return std::nullopt;
    return Reservation({left_, &left_->bytes}, count);
}

}  // namespace plugins::mail_processing
