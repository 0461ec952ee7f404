#pragma once

#include "sandbox/outlook/mapi_subsystem.h"

namespace sandbox::outlook {

// MAPI's functions over the process's one subsystem.
struct EntryPoints {
    // Raises std::logic_error when there is one already.
    static void Attach(MapiSubsystem* subsystem);
    static void Detach();
    static bool IsAttached();

    static plugins::mapi::MapiFunctions Table();

    static HRESULT WINAPI Initialize(void* init);
    static void WINAPI Uninitialize();
    static HRESULT WINAPI LogonEx(ULONG_PTR window, LPTSTR profile, LPTSTR password, ULONG flags,
                                  IMAPISession** session);
    static HRESULT WINAPI GetOneProp(IMAPIProp* object, ULONG tag, SPropValue** value);
    static HRESULT WINAPI QueryAllRows(IMAPITable* table, SPropTagArray* columns,
                                       SRestriction* restriction, SSortOrderSet* order,
                                       LONG max_rows, SRowSet** rows);
    static ULONG WINAPI FreeBuffer(void* buffer);
    static void WINAPI FreeRows(SRowSet* rows);
    static HRESULT WINAPI WrapCompressedRtfStream(IStream* compressed, ULONG flags,
                                                  IStream** plain);

    // Memory streams and storages: those of the system's OLE, or this stand-in's where there is no
    // OLE.
    static plugins::mapi::OleFunctions Ole();
    static HRESULT WINAPI CreateStream(void* memory, BOOL delete_on_release, IStream** stream);
    static HRESULT WINAPI CreateLockBytes(void* memory, BOOL delete_on_release, ILockBytes** bytes);
    // `bytes` hold the storage from its first commit on.
    static HRESULT WINAPI CreateDocfile(ILockBytes* bytes, DWORD mode, DWORD reserved,
                                        IStorage** file);
};

}  // namespace sandbox::outlook
