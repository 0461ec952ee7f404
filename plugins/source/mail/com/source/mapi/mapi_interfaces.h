#pragma once

// The MAPI, COM and structured storage declarations: the toolchain's own on Windows, elsewhere
// the subset that is called here. Names, values, signatures and the order of methods are the
// platform's, and so are not named as the rest of this tree names things.
//
// Without UNICODE, LPTSTR is char* in both builds. WCHAR is wchar_t on Windows and char16_t
// elsewhere, both of 16 bits; texts are copied from the one to the other.

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
#include "mapi/mapi_native_codes.h"
#include "mapi/mapi_native_com.h"
#include "mapi/mapi_native_objects.h"
#include "mapi/mapi_native_properties.h"
#endif

namespace plugins::mapi {

// Flags that not every toolchain's headers have (mapix.h of the platform).
inline constexpr ULONG kBackgroundSession = 0x00200000;  // MAPI_BG_SESSION, for MAPILogonEx
inline constexpr ULONG kNoCoInit = 0x00000008;           // MAPI_NO_COINIT, for MAPIInitialize

static_assert(sizeof(WCHAR) == sizeof(char16_t));

}  // namespace plugins::mapi
