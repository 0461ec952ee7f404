#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace sandbox::outlook {

// The thread on which Outlook has its objects and raises its events.
class OutlookThread {
public:
    OutlookThread();
    // Waits for what runs on it.
    ~OutlookThread();
    OutlookThread(const OutlookThread&) = delete;
    OutlookThread& operator=(const OutlookThread&) = delete;

    // Runs `body` on it and waits for its end; on that thread itself at once. Its exceptions come
    // back. One caller at a time besides the thread itself.
    void Run(const std::function<void()>& body);

    bool IsCurrent() const { return std::this_thread::get_id() == thread_.get_id(); }

private:
    void Serve();

    std::mutex mutex_;
    std::condition_variable changed_;
    const std::function<void()>* work_ = nullptr;
    std::exception_ptr failure_;
    bool ending_ = false;
    std::thread thread_;
};

}  // namespace sandbox::outlook
