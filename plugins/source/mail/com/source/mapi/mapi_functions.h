#pragma once

#include "mapi/mapi_interfaces.h"
#include "mapi/ole_functions.h"
#include "vek/platform/ansi_text.h"

namespace plugins::mapi {

// The MAPI entry points in use, with the platform's signatures (mapix.h, mapiutil.h). Whoever
// fills the table keeps the library behind it loaded for as long as the table is in use.
struct MapiFunctions {
    // MAPIInitialize: `init` is a MAPIINIT_0. Every success is paired with uninitialize, on the
    // same thread.
    HRESULT(WINAPI* initialize)(void* init) = nullptr;
    // MAPIUninitialize
    void(WINAPI* uninitialize)() = nullptr;
    // MAPILogonEx: `*session` has a reference.
    HRESULT(WINAPI* logon_ex)
    (ULONG_PTR ui_param, LPTSTR profile, LPTSTR password, ULONG flags,
     IMAPISession** session) = nullptr;
    // HrGetOneProp: `*value` is freed with free_buffer.
    HRESULT(WINAPI* get_one_prop)(IMAPIProp* object, ULONG tag, SPropValue** value) = nullptr;
    // HrQueryAllRows: `max_rows` 0 is no limit; `*rows` is freed with free_prows.
    HRESULT(WINAPI* query_all_rows)
    (IMAPITable* table, SPropTagArray* columns, SRestriction* restriction, SSortOrderSet* order,
     LONG max_rows, SRowSet** rows) = nullptr;
    // MAPIFreeBuffer: takes null as well.
    ULONG(WINAPI* free_buffer)(void* buffer) = nullptr;
    // FreeProws: takes null as well.
    void(WINAPI* free_prows)(SRowSet* rows) = nullptr;
    // WrapCompressedRTFStream: `*plain` has a reference.
    HRESULT(WINAPI* wrap_compressed_rtf_stream)
    (IStream* compressed, ULONG flags, IStream** plain) = nullptr;

    // The code page of narrow texts.
    vek::platform::code_page_t code_page = vek::platform::kAnsiCodePage;

    // Memory streams and storages, to copy MAPI's objects into.
    OleFunctions ole;

    bool operator==(const MapiFunctions&) const = default;
};

}  // namespace plugins::mapi
