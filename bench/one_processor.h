#pragma once

#include <sched.h>

namespace bench {

// Keeps this thread, and those that it starts, on the processor that it is on: for benchmarks of
// threads that take turns. On several processors it is luck which of them share one, and a
// hand-over to another costs ten times as much.
class OneProcessor {
public:
    OneProcessor() {
        sched_getaffinity(0, sizeof before_, &before_);
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(static_cast<unsigned>(sched_getcpu()), &one);
        sched_setaffinity(0, sizeof one, &one);
    }
    ~OneProcessor() { sched_setaffinity(0, sizeof before_, &before_); }

    // To the next one, if there is another.
    void MoveToAnother() {
        for (unsigned i = 1; i < CPU_SETSIZE; ++i) {
            const unsigned other = (static_cast<unsigned>(sched_getcpu()) + i) % CPU_SETSIZE;
            if (!CPU_ISSET(other, &before_)) continue;
            cpu_set_t one;
            CPU_ZERO(&one);
            CPU_SET(other, &one);
            sched_setaffinity(0, sizeof one, &one);
            return;
        }
    }

    OneProcessor(const OneProcessor&) = delete;
    OneProcessor& operator=(const OneProcessor&) = delete;

private:
    cpu_set_t before_{};
};

}  // namespace bench
