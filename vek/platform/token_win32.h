#pragma once

// What access tokens say: whose they are, of which session, how much they may. Any thread.

#include <windows.h>
// After windows.h, which it needs.
#include <sddl.h>

#include <cstddef>
#include <string>
#include <vector>

#include "vek/platform/handle_win32.h"

namespace vek::platform {

// The token of this process, to be asked. Null when the system refuses.
inline UniqueHandle OwnToken() noexcept {
    HANDLE token = nullptr;
    if (::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &token) == FALSE) return {};
    return UniqueHandle(token);
}

// What a token says of one kind; false when it does not. What `Fact` points to lives as long.
template <class Fact>
class TokenFact {
public:
    TokenFact(HANDLE token, TOKEN_INFORMATION_CLASS kind) {
        DWORD size = 0;
        ::GetTokenInformation(token, kind, nullptr, 0, &size);
        bytes_.resize(size);
        if (::GetTokenInformation(token, kind, bytes_.data(), size, &size) == FALSE) size = 0;
        bytes_.resize(size);
    }

    explicit operator bool() const noexcept { return bytes_.size() >= sizeof(Fact); }
    const Fact& operator*() const noexcept { return *reinterpret_cast<const Fact*>(bytes_.data()); }
    const Fact* operator->() const noexcept { return &**this; }

private:
    std::vector<std::byte> bytes_;
};

// "S-1-5-18". Empty when the system does not tell.
inline std::string SidText(PSID sid) {
    LPSTR text = nullptr;
    if (::ConvertSidToStringSidA(sid, &text) == FALSE) return {};
    return UniqueLocal<char>(text).get();
}

}  // namespace vek::platform
