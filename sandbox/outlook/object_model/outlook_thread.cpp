#include "sandbox/outlook/object_model/outlook_thread.h"

#include <exception>
#include <utility>

namespace sandbox::outlook {

OutlookThread::OutlookThread(ThreadChoice choice)
    : thread_(choice == ThreadChoice::kOwn ? std::thread([this] { Serve(); }) : std::thread()),
      id_(thread_.joinable() ? thread_.get_id() : std::this_thread::get_id()) {}

OutlookThread::~OutlookThread() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    changed_.notify_all();
    if (thread_.joinable()) thread_.join();
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
