#include "model/check_budget.h"

#include "vek/core/throw.h"

namespace plugins::mail_processing {

void CheckBudget::RequireBytes(std::uint64_t count, vek::SourceLocation place) const {
    if (count > left_->bytes) vek::ThrowResult(vek::result::kInsufficientResources, place);
}

CheckBudget::Reservation CheckBudget::TakeBytes(std::uint64_t count,
                                                vek::SourceLocation place) const {
    RequireBytes(count, place);
    return {{left_, &left_->bytes}, count};
}

CheckBudget::Reservation CheckBudget::TakeStream(vek::SourceLocation place) const {
    if (left_->streams == 0) vek::ThrowResult(vek::result::kInsufficientResources, place);
    return {{left_, &left_->streams}, 1};
}

std::optional<CheckBudget::Reservation> CheckBudget::TryTakeBytes(
    std::uint64_t count) const noexcept {
    if (count > left_->bytes) return std::nullopt;
    return Reservation({left_, &left_->bytes}, count);
}

}  // namespace plugins::mail_processing
