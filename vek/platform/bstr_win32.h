#pragma once

#include <windows.h>

#include <oleauto.h>

#include <cstddef>
#include <new>
#include <string_view>
#include <utility>

namespace vek::platform {

// Owns a string that COM allocated; null is the empty text. Any thread, one at a time.
class Bstr {
public:
    Bstr() noexcept = default;
    // Raises std::bad_alloc.
    explicit Bstr(std::u16string_view text)
        : text_(::SysAllocStringLen(nullptr, static_cast<UINT>(text.size()))) {
        if (text_ == nullptr) throw std::bad_alloc();
        for (std::size_t i = 0; i != text.size(); ++i) text_[i] = static_cast<wchar_t>(text[i]);
    }
    Bstr(const Bstr&) = delete;
    Bstr& operator=(const Bstr&) = delete;
    ~Bstr() { ::SysFreeString(text_); }

    std::wstring_view view() const noexcept { return {text_, ::SysStringLen(text_)}; }

    // For a call that gives a string; only while this holds none.
    BSTR* put() noexcept { return &text_; }
    [[nodiscard]] BSTR detach() noexcept { return std::exchange(text_, nullptr); }

private:
    BSTR text_ = nullptr;
};

}  // namespace vek::platform
