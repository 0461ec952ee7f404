#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "vek/platform/handle_win32.h"

namespace reference_product {

// The scanner's process, a child that ends with this process however this one ends: it is in a job
// that goes with this object, and its standard input ends. One thread at a time.
class ScannerProcess {
public:
    // Starts this program with `arguments`, where "--service" is replaced, as the scanner. It
    // inherits its standard input and nothing else. Raises vek::SystemException.
    explicit ScannerProcess(std::span<char* const> arguments);
    ScannerProcess(const ScannerProcess&) = delete;
    ScannerProcess& operator=(const ScannerProcess&) = delete;

    std::uint32_t id() const noexcept { return id_; }
    // Signalled when it has ended.
    HANDLE process() const noexcept { return process_.get(); }
    // Of one that has ended.
    std::uint32_t ExitCode() const noexcept;

    void AskToStop() noexcept { input_ = {}; }
    // Ends it by force and waits for its end.
    void Kill() noexcept;

private:
    vek::platform::UniqueHandle job_;
    vek::platform::UniqueHandle input_;  // the end that this process keeps
    vek::platform::UniqueHandle process_;
    std::uint32_t id_ = 0;
};

}  // namespace reference_product
