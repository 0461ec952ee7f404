#include <new>
#include <string>

#include "vek/core/ref_ptr.h"
#include "vek/platform/bstr_win32.h"
#include "vek/platform/error_info.h"

namespace vek::platform {
std::u16string TakeErrorDescription() noexcept {
    RefPtr<IErrorInfo> info;
    if (::GetErrorInfo(0, info.put()) != S_OK) return {};
    Bstr description;
    if (FAILED(info->GetDescription(description.put()))) return {};
    try {
        return {description.view().begin(), description.view().end()};
    } catch (const std::bad_alloc&) {
        return {};
    }
}

void SetErrorDescription(std::u16string_view description) {
    std::wstring text(description.begin(), description.end());
    RefPtr<ICreateErrorInfo> created;
    if (FAILED(::CreateErrorInfo(created.put()))) return;
    if (FAILED(created->SetDescription(text.data()))) return;
    RefPtr<IErrorInfo> info;
    if (FAILED(created->QueryInterface(IID_IErrorInfo, info.put_void()))) return;
    ::SetErrorInfo(0, info.get());
}

}  // namespace vek::platform
