#pragma once

// Streams and structured storage in memory, as OLE supplies them. A table, so that a system
// without OLE can bring its own.

#include "mapi/mapi_interfaces.h"
#include "vek/core/ref_ptr.h"

namespace plugins::mapi {

// Entry points with the platform's signatures (objbase.h, ole2.h). Results have a reference.
struct OleFunctions {
    // CreateStreamOnHGlobal
    HRESULT(WINAPI* create_stream)
    (void* memory, BOOL delete_on_release, IStream** stream) = nullptr;
    // CreateILockBytesOnHGlobal
    HRESULT(WINAPI* create_lock_bytes)
    (void* memory, BOOL delete_on_release, ILockBytes** bytes) = nullptr;
    // StgCreateDocfileOnILockBytes
    HRESULT(WINAPI* create_docfile)
    (ILockBytes* bytes, DWORD mode, DWORD reserved, IStorage** file) = nullptr;

    bool operator==(const OleFunctions&) const = default;
};

// The system's own. Where there is no OLE the table is empty, and what needs it raises
// vek::ResultCodeException kNotSupported.
OleFunctions SystemOleFunctions() noexcept;

// A new, empty stream in memory. This and the next two raise helpers::HResultCodeException.
vek::RefPtr<IStream> NewMemoryStream(const OleFunctions& ole);

// A new, empty byte array in memory.
vek::RefPtr<ILockBytes> NewMemoryLockBytes(const OleFunctions& ole);

// A new compound file on `bytes`, which it keeps, open for reading and writing.
vek::RefPtr<IStorage> NewCompoundFile(const OleFunctions& ole, ILockBytes& bytes);

}  // namespace plugins::mapi
