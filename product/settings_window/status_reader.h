#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

#include "product/settings_window/window_content.h"

namespace reference_product {

// Asks the product again and again on a thread of its own, so that a product that does not answer
// holds no window. Operations are the window's thread's.
class StatusReader {
public:
    // Told on the reader's thread of each snapshot, and with it of what became of the switches that
    // were stored just before. Raises nothing and waits for nobody; is not called after the
    // reader's end.
    using Listener =
        std::function<void(WindowSnapshot snapshot, std::optional<vek::result_t> stored)>;

    // `services` outlives the reader. Between two questions it pauses.
    StatusReader(plugins::loader::ServiceAccess& services, Listener listener,
                 std::chrono::milliseconds pause = std::chrono::seconds(2));
    // Stores what was to be stored, and waits for a question that is on its way: for the time of
    // one event of Outlook each, at most.
    ~StatusReader();
    StatusReader(const StatusReader&) = delete;
    StatusReader& operator=(const StatusReader&) = delete;

    // Has the product keep them, and asks it at once. Of several that wait the last counts.
    void Store(const plugins::product::MailSettings& switches);

private:
    void Read() noexcept;

    plugins::loader::ServiceAccess& services_;
    const Listener listener_;
    const std::chrono::milliseconds pause_;
    std::mutex lock_;  // guards what follows
    std::condition_variable changed_;
    std::optional<plugins::product::MailSettings> to_store_;
    bool ending_ = false;
    std::thread thread_;  // the last: it uses all others
};

}  // namespace reference_product
