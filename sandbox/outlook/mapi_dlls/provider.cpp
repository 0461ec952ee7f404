// MAPI's exported functions over the module's subsystem. Where it has none there is one of its own,
// which has the message files of the folder that the environment variable MLXO_SANDBOX_STORE names.
// All that comes out of it must go back before a library is unloaded.

#include <objbase.h>

#include <filesystem>
#include <string>
#include <string_view>

#include "sandbox/outlook/entry_points.h"
#include "sandbox/outlook/message_file.h"
#include "vek/core/text.h"
#include "vek/platform/environment.h"

namespace {

using sandbox::outlook::EntryPoints;
using sandbox::outlook::MapiSubsystem;

// How often this thread has COM from here.
thread_local int com_uses = 0;

class Provider {
public:
    // The first call fills the store; it raises what is wrong with a file.
    static void Start() {
        if (!EntryPoints::IsAttached()) static Provider provider;
    }

private:
    Provider() {
        const auto folder = vek::platform::GetEnvironment("MLXO_SANDBOX_STORE");
        if (!folder) return;
        const std::filesystem::path path(vek::ToUtf16(*folder));
        for (const auto& file : std::filesystem::directory_iterator(path))
            mapi_.store().Add(sandbox::outlook::LoadMessageFile(file.path()));
    }

    MapiSubsystem mapi_;
};

// MAPI serves the default mail client, and is this library only while that is Outlook.
bool OutlookIsDefault() {
    wchar_t client[64] = L"";
    DWORD size = sizeof client;
    ::RegGetValueW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Clients\\Mail", nullptr, RRF_RT_REG_SZ, nullptr,
                   client, &size);
    return std::wstring_view(client) == L"Microsoft Outlook";
}

}  // namespace

extern "C" {

HRESULT WINAPI MAPIInitialize(void* init) {
    const auto* const record = static_cast<const MAPIINIT_0*>(init);
    const bool wants_com = record == nullptr || (record->ulFlags & plugins::mapi::kNoCoInit) == 0;
    if (wants_com) {
        const HRESULT code = ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        if (FAILED(code)) return code;
        ++com_uses;
    }
    HRESULT code = MAPI_E_CALL_FAILED;
    try {
        Provider::Start();
        code = OutlookIsDefault() ? EntryPoints::Initialize(init) : MAPI_E_NO_SUPPORT;
    } catch (...) {  // the code says it
    }
    if (FAILED(code) && wants_com) {
        --com_uses;
        ::CoUninitialize();
    }
    return code;
}

void WINAPI MAPIUninitialize() {
    EntryPoints::Uninitialize();
    if (com_uses == 0) return;
    --com_uses;
    ::CoUninitialize();
}

HRESULT WINAPI MAPILogonEx(ULONG_PTR window, LPTSTR profile, LPTSTR password, ULONG flags,
                           IMAPISession** session) {
    return EntryPoints::LogonEx(window, profile, password, flags, session);
}

HRESULT WINAPI HrGetOneProp(IMAPIProp* object, ULONG tag, SPropValue** value) {
    return EntryPoints::GetOneProp(object, tag, value);
}

HRESULT WINAPI HrQueryAllRows(IMAPITable* table, SPropTagArray* columns, SRestriction* restriction,
                              SSortOrderSet* order, LONG max_rows, SRowSet** rows) {
    return EntryPoints::QueryAllRows(table, columns, restriction, order, max_rows, rows);
}

ULONG WINAPI MAPIFreeBuffer(void* buffer) { return EntryPoints::FreeBuffer(buffer); }

void WINAPI FreeProws(SRowSet* rows) { EntryPoints::FreeRows(rows); }

HRESULT WINAPI WrapCompressedRTFStream(IStream* compressed, ULONG flags, IStream** plain) {
    return EntryPoints::WrapCompressedRtfStream(compressed, flags, plain);
}

}  // extern "C"
