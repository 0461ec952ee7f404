#pragma once

#include <memory>
#include <string>

#include "sandbox/outlook/com_object.h"
#include "sandbox/outlook/property_holder.h"

namespace sandbox::outlook {

// A text or a binary as a stream. What is written shows in the open object at the next commit and
// is dropped without one.
class PropertyStream final : public ComObject<IStream, iid::kSequentialStream, iid::kStream> {
public:
    struct Mode {
        bool readable;
        bool writable;
    };

    // `holder` is part of `owner`, which the stream keeps alive. `content` is what the property
    // holds, in its kept form; `tag` says how it is shown.
    PropertyStream(std::shared_ptr<Runtime> runtime, vek::RefPtr<IUnknown> owner,
                   PropertyHolder& holder, ULONG tag, Content content, Mode mode);

    HRESULT STDMETHODCALLTYPE Read(void* buffer, ULONG size, ULONG* read) final;
    HRESULT STDMETHODCALLTYPE Write(const void* bytes, ULONG size, ULONG* written) final;
    HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* now) final;
    HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER size) final;
    HRESULT STDMETHODCALLTYPE CopyTo(IStream* target, ULARGE_INTEGER size, ULARGE_INTEGER* read,
                                     ULARGE_INTEGER* written) final;
    HRESULT STDMETHODCALLTYPE Commit(DWORD flags) final;
    HRESULT STDMETHODCALLTYPE Stat(STATSTG* stat, DWORD flags) final;

    HRESULT STDMETHODCALLTYPE Revert() final { return Unsupported(); }
    HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE Clone(IStream**) final { return Unsupported(); }

private:
    // The bytes to change: copied first where somebody else has them as well.
    std::string& Changing();

    const vek::RefPtr<IUnknown> owner_;
    PropertyHolder& holder_;
    const ULONG tag_;
    const Mode mode_;
    std::shared_ptr<const std::string> bytes_;
    std::shared_ptr<std::string> own_;  // bytes_ again, while nobody else can see it
    std::uint64_t position_ = 0;
};

// The body of OpenProperty for IID_IStream.
HRESULT OpenStream(std::shared_ptr<Runtime> runtime, vek::RefPtr<IUnknown> owner,
                   PropertyHolder& holder, ULONG tag, ULONG options, ULONG flags, IUnknown** out);

}  // namespace sandbox::outlook
