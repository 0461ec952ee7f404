#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace sandbox::outlook {

// Which thread is Outlook's: one of its own, or the one that builds it.
enum class ThreadChoice { kOwn, kBuilders };

// The thread on which Outlook has its objects and raises its events.
class OutlookThread {
public:
    explicit OutlookThread(ThreadChoice choice);
    // Waits for what runs on it.
    ~OutlookThread();
    OutlookThread(const OutlookThread&) = delete;
    OutlookThread& operator=(const OutlookThread&) = delete;

    // Runs `body` on it and waits for its end; on that thread itself at once. Its exceptions come
    // back. One caller at a time besides the thread itself.
    void Run(const std::function<void()>& body);

    bool IsCurrent() const { return std::this_thread::get_id() == id_; }

private:
    void Serve();

    std::mutex mutex_;
    std::condition_variable changed_;
    const std::function<void()>* work_ = nullptr;
    std::exception_ptr failure_;
    bool ending_ = false;
    std::thread thread_;  // none when it is the builder's
    const std::thread::id id_;
};

}  // namespace sandbox::outlook
