#include <windows.h>

#include <chrono>
#include <stdexcept>
#include <string>
#include <utility>

#include "product/state/run_folder.h"
#include "sandbox/outlook/host/host_player.h"
#include "vek/platform/handle_win32.h"

namespace sandbox::host {
namespace {

using reference_product::ServiceScanner;

constexpr wchar_t kService[] = L"MlxoMailProtection";
constexpr std::chrono::seconds kPatience{10};

struct ServiceHandleTraits {
    using value_t = SC_HANDLE;
    static value_t None() noexcept { return nullptr; }
    static void Close(value_t handle) noexcept { ::CloseServiceHandle(handle); }
};
using UniqueServiceHandle = vek::platform::UniqueResource<ServiceHandleTraits>;

class ServiceProduct final : public demo::ScenarioProduct {
public:
    ServiceProduct(std::filesystem::path data, std::function<void(std::chrono::milliseconds)> pause)
        : data_(std::move(data)),
          pause_(std::move(pause)),
          manager_(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT)),
          service_(::OpenServiceW(manager_.get(), kService,
                                  SERVICE_QUERY_STATUS | SERVICE_START | SERVICE_STOP)) {
        if (!service_) throw std::runtime_error("the service is not installed");
    }

    void Start() override {
        ::StartServiceW(service_.get(), 0, nullptr);  // fails for one that runs
        Await("start", [this] {
            const auto scanner = Scanner();
            return scanner && scanner->process_id != killed_;
        });
    }

    void Stop() override {
        SERVICE_STATUS status{};
        ::ControlService(service_.get(), SERVICE_CONTROL_STOP, &status);
        Await("stop", [this] { return Status().dwCurrentState == SERVICE_STOPPED; });
    }

    // The scanner, which the service starts again after a second.
    void Kill() override {
        const auto scanner = Scanner();
        if (!scanner) return;
        killed_ = scanner->process_id;
        const vek::platform::UniqueHandle process(::OpenProcess(PROCESS_TERMINATE, FALSE, killed_));
        if (::TerminateProcess(process.get(), 1) == FALSE)
            throw std::runtime_error("the scanner cannot be ended");
    }

    void Set(const plugins::product::MailPluginSettings& settings) override {
        demo::WriteSettings(data_, settings);
    }

private:
    SERVICE_STATUS_PROCESS Status() const {
        SERVICE_STATUS_PROCESS status{};
        DWORD size = 0;
        ::QueryServiceStatusEx(service_.get(), SC_STATUS_PROCESS_INFO,
                               reinterpret_cast<BYTE*>(&status), sizeof status, &size);
        return status;
    }

    std::optional<ServiceScanner> Scanner() const {
        return reference_product::ScannerNames(data_).ScannerOf(Status().dwProcessId);
    }

    template <class Condition>
    void Await(const std::string& what, Condition is_so) const {
        const auto deadline = std::chrono::steady_clock::now() + kPatience;
        while (!is_so()) {
            if (std::chrono::steady_clock::now() > deadline)
                throw std::runtime_error("the service does not " + what);
            pause_(std::chrono::milliseconds(5));
        }
    }

    const std::filesystem::path data_;
    const std::function<void(std::chrono::milliseconds)> pause_;
    const UniqueServiceHandle manager_;
    const UniqueServiceHandle service_;
    DWORD killed_ = 0;
};

}  // namespace

std::unique_ptr<demo::ScenarioProduct> MakeServiceProduct(
    std::filesystem::path data, std::function<void(std::chrono::milliseconds)> pause) {
    return std::make_unique<ServiceProduct>(std::move(data), std::move(pause));
}

}  // namespace sandbox::host
