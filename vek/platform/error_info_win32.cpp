#include <windows.h>

#include <oleauto.h>

#include <new>
#include <string_view>

#include "vek/core/ref_ptr.h"
#include "vek/platform/error_info.h"

namespace vek::platform {
namespace {

// Owns a string that COM allocated.
class OwnedBstr {
public:
    OwnedBstr() noexcept = default;
    ~OwnedBstr() { ::SysFreeString(text_); }
    OwnedBstr(const OwnedBstr&) = delete;
    OwnedBstr& operator=(const OwnedBstr&) = delete;

    BSTR* put() noexcept { return &text_; }
    std::wstring_view view() const noexcept { return {text_, ::SysStringLen(text_)}; }

private:
    BSTR text_ = nullptr;
};

}  // namespace

std::u16string TakeErrorDescription() noexcept {
    RefPtr<IErrorInfo> info;
    if (::GetErrorInfo(0, info.put()) != S_OK) return {};
    OwnedBstr description;
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
