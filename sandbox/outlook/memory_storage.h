#pragma once

#include <memory>

#include "sandbox/outlook/com_object.h"
#include "sandbox/outlook/storage_node.h"

namespace sandbox::outlook {

// A structured storage in memory. Bytes written to a stream of it show at the stream's commit.
class MemoryStorage final : public ComObject<IStorage, iid::kStorage> {
public:
    enum class Mode { kReading, kWriting };

    // With `home`, each commit puts the whole storage there (EncodeStorage).
    MemoryStorage(std::shared_ptr<Runtime> runtime, std::shared_ptr<StorageNode> node, Mode mode,
                  vek::RefPtr<ILockBytes> home = nullptr);

    HRESULT STDMETHODCALLTYPE CreateStream(const WCHAR* name, DWORD mode, DWORD, DWORD,
                                           IStream** stream) final;
    HRESULT STDMETHODCALLTYPE OpenStream(const WCHAR* name, void*, DWORD mode, DWORD,
                                         IStream** stream) final;
    HRESULT STDMETHODCALLTYPE CreateStorage(const WCHAR* name, DWORD mode, DWORD, DWORD,
                                            IStorage** storage) final;
    HRESULT STDMETHODCALLTYPE OpenStorage(const WCHAR* name, IStorage*, DWORD mode, SNB, DWORD,
                                          IStorage** storage) final;
    // Copies everything and commits the target.
    HRESULT STDMETHODCALLTYPE CopyTo(DWORD excluded, const IID*, SNB names, IStorage* target) final;
    HRESULT STDMETHODCALLTYPE Commit(DWORD flags) final;
    HRESULT STDMETHODCALLTYPE EnumElements(DWORD, void*, DWORD, IEnumSTATSTG** elements) final;
    HRESULT STDMETHODCALLTYPE Stat(STATSTG* facts, DWORD flags) final;

    HRESULT STDMETHODCALLTYPE MoveElementTo(const WCHAR*, IStorage*, const WCHAR*, DWORD) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE Revert() final { return Unsupported(); }
    HRESULT STDMETHODCALLTYPE DestroyElement(const WCHAR*) final { return Unsupported(); }
    HRESULT STDMETHODCALLTYPE RenameElement(const WCHAR*, const WCHAR*) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE SetElementTimes(const WCHAR*, const FILETIME*, const FILETIME*,
                                              const FILETIME*) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE SetClass(REFCLSID) final { return Unsupported(); }
    HRESULT STDMETHODCALLTYPE SetStateBits(DWORD, DWORD) final { return Unsupported(); }

private:
    // Null when there is no such element.
    std::shared_ptr<StorageNode> Find(const WCHAR* name) const;
    // S_OK when an element may be opened or made as `mode` says.
    HRESULT CheckMode(DWORD mode) const;
    HRESULT CheckNew(const WCHAR* name, DWORD mode) const;
    HRESULT GiveStream(std::shared_ptr<StorageNode> node, DWORD mode, IStream** out);
    HRESULT GiveStorage(std::shared_ptr<StorageNode> node, DWORD mode, IStorage** out);

    const std::shared_ptr<StorageNode> node_;
    const Mode mode_;
    const vek::RefPtr<ILockBytes> home_;
};

}  // namespace sandbox::outlook
