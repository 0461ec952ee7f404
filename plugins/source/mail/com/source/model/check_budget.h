#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include "vek/core/source_location.h"

namespace plugins::mail_processing {

struct CheckLimits {
    std::uint64_t bytes = std::uint64_t{512} << 20;
    std::uint64_t streams = 1024;
};

// What one check may hold for its scanner, who may ask without end: bytes of values, texts and
// copies, and open streams. Copies of a budget are handles of the same one. Used on the thread that
// owns the message.
class CheckBudget {
public:
    // A part of the budget, which is given back with it. It may outlive the budget's handles.
    class [[nodiscard]] Reservation {
    public:
        Reservation() noexcept = default;
        Reservation(Reservation&&) noexcept = default;
        Reservation& operator=(Reservation other) noexcept {
            std::swap(left_, other.left_);
            std::swap(count_, other.count_);
            return *this;
        }
        ~Reservation() {
            if (left_) *left_ += count_;
        }

    private:
        friend class CheckBudget;
        Reservation(std::shared_ptr<std::uint64_t> left, std::uint64_t count) noexcept
            : left_(std::move(left)), count_(count) {
            *left_ -= count_;
        }

        std::shared_ptr<std::uint64_t> left_;  // of what it is a part of
        std::uint64_t count_ = 0;
    };

    explicit CheckBudget(const CheckLimits& limits = {})
        : left_(std::make_shared<CheckLimits>(limits)) {}

    // Reserve `count` bytes, or one stream. What is beyond the limit raises
    // vek::ResultCodeException kInsufficientResources.
    Reservation TakeBytes(std::uint64_t count,
                          vek::SourceLocation place = vek::SourceLocation::Here()) const;
    Reservation TakeStream(vek::SourceLocation place = vek::SourceLocation::Here()) const;

    // As TakeBytes; empty beyond the limit.
    std::optional<Reservation> TryTakeBytes(std::uint64_t count) const noexcept;

    // Raises as TakeBytes does, and reserves nothing.
    void RequireBytes(std::uint64_t count,
                      vek::SourceLocation place = vek::SourceLocation::Here()) const;

    // Gives the scanner a text, for whose copy there must be room besides what is held.
    template <class Made, class Text>
    void Give(Made&& text, Text& out,
              vek::SourceLocation place = vek::SourceLocation::Here()) const {
        RequireBytes(text.size() * sizeof(text[0]), place);
        out = std::forward<Made>(text);
    }

    // What may still be reserved.
    const CheckLimits& left() const noexcept { return *left_; }

private:
    std::shared_ptr<CheckLimits> left_;
};

}  // namespace plugins::mail_processing
