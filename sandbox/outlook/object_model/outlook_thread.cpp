#include "sandbox/outlook/object_model/outlook_thread.h"

#include <exception>
#include <utility>

namespace sandbox::outlook {

OutlookThread::OutlookThread() : thread_([this] { Serve(); }) {}

OutlookThread::~OutlookThread() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void OutlookThread::Run(const std::function<void()>& body) {
    if (IsCurrent()) return body();
    std::unique_lock lock(mutex_);
    work_ = &body;
    changed_.notify_all();
    changed_.wait(lock, [this] { return work_ == nullptr; });
    if (auto failure = std::exchange(failure_, nullptr)) std::rethrow_exception(failure);
}

void OutlookThread::Serve() {
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [this] { return ending_ || work_ != nullptr; });
        if (work_ == nullptr) return;
        lock.unlock();
        std::exception_ptr failure;
        try {
            (*work_)();
        } catch (...) {
            failure = std::current_exception();
        }
        lock.lock();
        failure_ = failure;
        work_ = nullptr;
        changed_.notify_all();
    }
}

}  // namespace sandbox::outlook
