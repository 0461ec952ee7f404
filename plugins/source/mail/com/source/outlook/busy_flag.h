#pragma once

namespace plugins::mail_processing {

// Raises a flag for as long as a handler is at work. Flags do not count: where a handler is
// entered again from within itself, the inner one lowers the flag on its way out, and the outer
// one goes on without.
class BusyFlag {
public:
    // `flag` outlives this.
    explicit BusyFlag(bool& flag) noexcept : flag_(flag) { flag_ = true; }
    ~BusyFlag() { Release(); }
    BusyFlag(const BusyFlag&) = delete;
    BusyFlag& operator=(const BusyFlag&) = delete;

    // Lowers the flag for good.
    void Release() noexcept {
        if (held_) flag_ = false;
        held_ = false;
    }

    // Raises the flag again, unless it was released: it may have been lowered from within.
    void Retake() noexcept {
        if (held_) flag_ = true;
    }

private:
    bool& flag_;
    bool held_ = true;
};

}  // namespace plugins::mail_processing
