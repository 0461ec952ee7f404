#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <span>

#include "product/content_engine.h"

namespace reference_product {

// Passes the contents of one message through an engine, one after the other, and does not wait for
// the verdict on one before the next. For one thread.
class EngineChecks {
public:
    // Takes the verdict on one content.
    using Taker = std::function<void(const ContentVerdict&)>;

    // Without an engine nothing is checked, and no verdict comes.
    explicit EngineChecks(std::shared_ptr<ContentEngine> engine);

    // Takes the next piece of the content. One without any is not asked about.
    void Feed(std::span<const std::byte> piece);
    // False when the verdict on the content needs no more of it.
    bool WantsMore() const noexcept { return !current_ || wants_more_; }
    // Ends the content; `taker` gets its verdict during a later call.
    void Finish(Taker taker);
    // Forgets the content, of which more was wanted than could be read.
    void Drop() noexcept;
    // Waits for the verdicts that are still to come.
    void TakeAll();

private:
    struct Unread {
        std::unique_ptr<ContentCheck> check;
        Taker taker;
    };

    void TakeOldest();

    const std::shared_ptr<ContentEngine> engine_;
    const std::unique_ptr<MailContents> mail_;  // null without an engine
    std::unique_ptr<ContentCheck> current_;     // null before its first piece
    bool wants_more_ = false;
    std::deque<Unread> unread_;
};

}  // namespace reference_product
