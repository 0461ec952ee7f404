#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "sandbox/outlook/com_object.h"
#include "sandbox/outlook/property_value.h"

namespace sandbox::outlook {

// Bytes as a stream: a property, a stream of a storage, a piece of memory.
class ByteStream final : public ComObject<IStream, iid::kSequentialStream, iid::kStream> {
public:
    struct Mode {
        bool readable;
        bool writable;
        // Seek and SetSize go to the start alone, and Stat is there.
        bool restarts_only = false;
        // There is no way but onwards: neither Seek, SetSize nor Stat.
        bool in_sequence = false;
        // The sink takes the bytes at each change already.
        bool writes_through = false;
        // Revert brings back the bytes as they were at the last commit.
        bool reverts = false;
    };

    // Takes the bytes at each commit. It keeps alive the objects that it refers to.
    using Sink = std::function<HRESULT(const Content& bytes)>;

    // Begins with `bytes`, which others may share. Written bytes are dropped unless they are
    // committed or written through; without a sink they stay in the stream.
    ByteStream(std::shared_ptr<Runtime> runtime, Content bytes, Mode mode, Sink sink = {});

    HRESULT STDMETHODCALLTYPE Read(void* buffer, ULONG size, ULONG* read) final;
    HRESULT STDMETHODCALLTYPE Write(const void* bytes, ULONG size, ULONG* written) final;
    HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* now) final;
    HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER size) final;
    HRESULT STDMETHODCALLTYPE CopyTo(IStream* target, ULARGE_INTEGER size, ULARGE_INTEGER* read,
                                     ULARGE_INTEGER* written) final;
    HRESULT STDMETHODCALLTYPE Commit(DWORD flags) final;
    HRESULT STDMETHODCALLTYPE Stat(STATSTG* stat, DWORD flags) final;

    HRESULT STDMETHODCALLTYPE Revert() final;
    HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE Clone(IStream**) final { return Unsupported(); }

    bool writable() const { return mode_.writable; }

private:
    // All of them, with zeros where only the size was set.
    const Content& Bytes();
    // Whether the bytes are not shared, and may be changed where they are. The two below change a
    // copy of shared ones.
    bool IsOwn() const { return own_ != nullptr && own_.use_count() == 2; }  // both are ours
    void Replace(std::uint64_t from, std::string_view bytes);
    void Resize(std::uint64_t size);
    // Answers a change of the bytes.
    HRESULT WriteThrough() { return mode_.writes_through && sink_ ? sink_(Bytes()) : S_OK; }

    const Mode mode_;
    const Sink sink_;
    Content bytes_;
    Content committed_;                 // null in a stream that does not revert
    std::shared_ptr<std::string> own_;  // bytes_ again, while nobody else can see it
    std::uint64_t size_;                // at least that of bytes_
    std::uint64_t position_ = 0;
};

}  // namespace sandbox::outlook
