#include <windows.h>
// After windows.h, which it needs.
#include <sddl.h>

#include <new>

#include "remote/process_event.h"
#include "vek/platform/handle_win32.h"
#include "vek/platform/kernel_event_win32.h"
#include "vek/platform/wide_win32.h"

namespace remote {
namespace {

namespace platform = vek::platform;

vek::result_t LastResult() noexcept {
    return ::GetLastError() == ERROR_ACCESS_DENIED ? vek::result::kAccessDenied
                                                   : vek::result::kUnexpected;
}

}  // namespace

vek::result_t OpenProcessEvent(std::uint32_t process_id, EventNamespace space,
                               const vek::trace::TracerPtr& tracer,
                               std::unique_ptr<platform::Event>& event) noexcept try {
    std::string name;
    const vek::result_t code =
        ProcessEventName(process_id, platform::StartOfProcess(process_id), space, tracer, name);
    if (vek::Failed(code)) return code;

    PSECURITY_DESCRIPTOR descriptor = nullptr;
    const std::u16string_view security = kProcessEventSecurity;
    if (::ConvertStringSecurityDescriptorToSecurityDescriptorW(
            std::wstring(security.begin(), security.end()).c_str(), SDDL_REVISION_1, &descriptor,
            nullptr) == FALSE) {
        return LastResult();
    }
    const platform::UniqueLocal<void> owned(descriptor);
    SECURITY_ATTRIBUTES attributes{sizeof attributes, descriptor, FALSE};
    platform::UniqueHandle handle(
        ::CreateEventW(&attributes, TRUE, FALSE, platform::ToWide(name).c_str()));
    if (!handle) return LastResult();
    event = std::make_unique<platform::KernelEvent>(std::move(handle));
    return vek::result::kOk;
} catch (const std::bad_alloc&) {
    return vek::result::kOutOfMemory;
}

}  // namespace remote
