#include <windows.h>

#include <stdexcept>
#include <thread>

#include "product/process/stop_signal.h"
#include "vek/platform/handle_win32.h"

namespace reference_product {
namespace {

// The console's handler has no context; the process has one StopSignal.
HANDLE stop_event = nullptr;

BOOL WINAPI OnConsoleEvent(DWORD) {
    ::SetEvent(stop_event);
    return TRUE;
}

// The pipe's other end is the service's, and is closed at the latest with its process.
void AwaitEndOfInput() noexcept {
    const HANDLE input = ::GetStdHandle(STD_INPUT_HANDLE);
    char byte;
    DWORD count = 0;
    while (::ReadFile(input, &byte, 1, &count, nullptr) != FALSE && count != 0) {
    }
}

}  // namespace

struct StopSignal::State {
    // Shared with the thread that reads.
    const std::shared_ptr<const vek::platform::UniqueHandle> event =
        std::make_shared<vek::platform::UniqueHandle>(
            ::CreateEventW(nullptr, TRUE, FALSE, nullptr));
};

StopSignal::StopSignal(bool is_services_child) : state_(std::make_unique<State>()) {
    if (!*state_->event) throw std::runtime_error("no event for the signals to stop");
    stop_event = state_->event->get();
    if (is_services_child) {
        std::thread([event = state_->event] {
            AwaitEndOfInput();
            ::SetEvent(event->get());
        }).detach();
        return;
    }
    // Fails in a process without a console, which is stopped by request alone.
    ::SetConsoleCtrlHandler(&OnConsoleEvent, TRUE);
}

StopSignal::~StopSignal() {
    ::SetConsoleCtrlHandler(&OnConsoleEvent, FALSE);
    stop_event = nullptr;
}

bool StopSignal::Wait(std::chrono::milliseconds time) {
    return ::WaitForSingleObject(state_->event->get(), static_cast<DWORD>(time.count())) ==
           WAIT_OBJECT_0;
}

}  // namespace reference_product
