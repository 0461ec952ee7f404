#pragma once

#include <memory>
#include <string>

#include "sandbox/outlook/com_object.h"

namespace sandbox::outlook {

// A byte array in memory, which grows as it is written to.
class MemoryBytes final : public ComObject<ILockBytes, iid::kLockBytes> {
public:
    explicit MemoryBytes(std::shared_ptr<Runtime> runtime) : ComObject(std::move(runtime)) {}

    HRESULT STDMETHODCALLTYPE ReadAt(ULARGE_INTEGER from, void* buffer, ULONG size,
                                     ULONG* read) final;
    HRESULT STDMETHODCALLTYPE WriteAt(ULARGE_INTEGER to, const void* bytes, ULONG size,
                                      ULONG* written) final;
    HRESULT STDMETHODCALLTYPE Flush() final;
    HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER size) final;
    HRESULT STDMETHODCALLTYPE Stat(STATSTG* facts, DWORD flags) final;

    HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) final {
        return Unsupported();
    }

private:
    std::string bytes_;
};

}  // namespace sandbox::outlook
