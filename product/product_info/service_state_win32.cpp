#include "product/product_info/service_state.h"

#include <windows.h>

#include "vek/core/border.h"
#include "vek/platform/unique_resource.h"
#include "vek/platform/wide_win32.h"

namespace reference_product {
namespace {

struct ServiceHandleTraits {
    using value_t = SC_HANDLE;
    static value_t None() noexcept { return nullptr; }
    static void Close(value_t handle) noexcept { ::CloseServiceHandle(handle); }
};

using UniqueServiceHandle = vek::platform::UniqueResource<ServiceHandleTraits>;

}  // namespace

std::optional<std::uint32_t> ProcessOfService(const std::string& name) noexcept {
    std::optional<std::uint32_t> process;
    static_cast<void>(vek::AtBorder([&] {
        const UniqueServiceHandle manager(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
        if (!manager) return;
        const UniqueServiceHandle service(::OpenServiceW(
            manager.get(), vek::platform::ToWide(name).c_str(), SERVICE_QUERY_STATUS));
        SERVICE_STATUS_PROCESS status{};
        DWORD size = 0;
        if (service &&
            ::QueryServiceStatusEx(service.get(), SC_STATUS_PROCESS_INFO,
                                   reinterpret_cast<BYTE*>(&status), sizeof status,
                                   &size) != FALSE &&
            status.dwCurrentState == SERVICE_RUNNING && status.dwProcessId != 0)
            process = status.dwProcessId;
    }));
    return process;
}

}  // namespace reference_product
