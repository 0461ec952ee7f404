#pragma once

// The MAPI, COM and structured storage declarations: the toolchain's own on Windows, elsewhere
// the subset that is called here, with the same names, order, values and signatures.
//
// Without UNICODE, LPTSTR is char* in both builds. WCHAR is wchar_t on Windows and char16_t
// elsewhere, both of 16 bits: AsWide and FromWide cross between it and the char16_t used inside.

#include <string_view>

#ifdef _WIN32
#include <windows.h>
// The order matters: these need windows.h.
#include <mapicode.h>
#include <mapidefs.h>
#include <mapitags.h>
#include <mapiutil.h>
#include <mapix.h>
#include <objidl.h>
#else
#include "mapi/mapi_native.h"
#endif

namespace plugins::mapi {

// Flags that not every toolchain's headers have (mapix.h of the platform).
inline constexpr ULONG kBackgroundSession = 0x00200000;  // MAPI_BG_SESSION, for MAPILogonEx
inline constexpr ULONG kNoCoInit = 0x00000008;           // MAPI_NO_COINIT, for MAPIInitialize

static_assert(sizeof(WCHAR) == sizeof(char16_t));

// The same characters as the platform's calls take them. Ownership is unchanged.
inline WCHAR* AsWide(char16_t* text) noexcept { return reinterpret_cast<WCHAR*>(text); }
inline const WCHAR* AsWide(const char16_t* text) noexcept {
    return reinterpret_cast<const WCHAR*>(text);
}

// The characters of a terminated text of the platform's, which must outlive the view.
inline std::u16string_view FromWide(const WCHAR* text) noexcept {
    return reinterpret_cast<const char16_t*>(text);
}

}  // namespace plugins::mapi
