#include <windows.h>

#include <stdexcept>

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

}  // namespace

struct StopSignal::State {
    vek::platform::UniqueHandle event{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
};

StopSignal::StopSignal() : state_(std::make_unique<State>()) {
    if (!state_->event) throw std::runtime_error("no event for the console's signals");
    stop_event = state_->event.get();
    // Fails in a process without a console, which is stopped by request alone.
    ::SetConsoleCtrlHandler(&OnConsoleEvent, TRUE);
}

StopSignal::~StopSignal() {
    ::SetConsoleCtrlHandler(&OnConsoleEvent, FALSE);
    stop_event = nullptr;
}

bool StopSignal::Wait(std::chrono::milliseconds time) {
    return ::WaitForSingleObject(state_->event.get(), static_cast<DWORD>(time.count())) ==
           WAIT_OBJECT_0;
}

}  // namespace reference_product
