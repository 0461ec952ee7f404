#include "sandbox/outlook/byte_stream.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

namespace sandbox::outlook {
namespace {

// The largest stream: a property cannot be larger either.
constexpr std::uint64_t kLargestStream = std::numeric_limits<std::int32_t>::max();

}  // namespace

ByteStream::ByteStream(std::shared_ptr<Runtime> runtime, Content bytes, Mode mode, Sink sink)
    : ComObject(std::move(runtime)),
      mode_(mode),
      sink_(std::move(sink)),
      bytes_(std::move(bytes)),
      committed_(mode_.reverts ? bytes_ : nullptr),
      size_(bytes_->size()) {}

const Content& ByteStream::Bytes() {
    if (bytes_->size() < size_) own_->resize(size_);
    return bytes_;
}

void ByteStream::Replace(std::uint64_t from, std::string_view bytes) {
    const std::uint64_t end = from + bytes.size();
    if (IsOwn()) {
        std::string& target = *own_;
        if (from > target.size()) target.resize(from);
        const std::size_t over = std::min<std::size_t>(bytes.size(), target.size() - from);
        std::copy_n(bytes.data(), over, target.begin() + static_cast<std::ptrdiff_t>(from));
        target.append(bytes.substr(over));
    } else {  // what is written over is not copied first
        const std::string& old = *bytes_;
        auto changed = std::make_shared<std::string>();
        changed->reserve(std::max<std::uint64_t>(old.size(), end));
        changed->append(old, 0, from);
        changed->resize(from);
        changed->append(bytes);
        if (end < old.size()) changed->append(old, end);
        bytes_ = own_ = std::move(changed);
    }
    size_ = std::max(size_, end);
}

void ByteStream::Resize(std::uint64_t size) {
    if (!IsOwn()) {
        auto changed = std::make_shared<std::string>();
        changed->reserve(size);
        changed->append(*bytes_, 0, size);
        bytes_ = own_ = std::move(changed);
    }
    if (size < own_->size()) own_->resize(size);
    own_->reserve(size);
    size_ = size;
}

HRESULT ByteStream::Read(void* buffer, ULONG size, ULONG* read) {
    if (read != nullptr) *read = 0;
    return Enter(Call::kStreamRead, [&]() -> HRESULT {
        if (!mode_.readable) return STG_E_ACCESSDENIED;
        if (buffer == nullptr && size != 0) return STG_E_INVALIDPOINTER;
        if (const auto& distort = runtime()->distortion().stream_read) {
            if (const auto count = distort({static_cast<std::byte*>(buffer), size})) {
                if (read != nullptr) *read = *count;
                return S_OK;
            }
        }
        const std::uint64_t left = size_ - std::min(position_, size_);
        const std::uint64_t count =
            std::min<std::uint64_t>(left, runtime()->faults().ReadLimit(size));
        if (count != 0) std::memcpy(buffer, Bytes()->data() + position_, count);
        position_ += count;
        if (read != nullptr) *read = static_cast<ULONG>(count);
        return S_OK;
    });
}

HRESULT ByteStream::Write(const void* bytes, ULONG size, ULONG* written) {
    if (written != nullptr) *written = 0;
    return Enter(Call::kStreamWrite, [&]() -> HRESULT {
        if (!mode_.writable) return STG_E_ACCESSDENIED;
        if (bytes == nullptr && size != 0) return STG_E_INVALIDPOINTER;
        if (position_ + size > kLargestStream) return STG_E_MEDIUMFULL;
        if (size != 0) {
            Replace(position_, {static_cast<const char*>(bytes), size});
            position_ += size;
            if (const HRESULT code = WriteThrough(); FAILED(code)) return code;
        }
        if (written != nullptr) *written = size;
        return S_OK;
    });
}

HRESULT ByteStream::Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* now) {
    return Enter(Call::kStreamSeek, [&]() -> HRESULT {
        if (mode_.in_sequence) return E_NOTIMPL;
        const bool to_start = origin == STREAM_SEEK_SET && move.QuadPart == 0;
        if (mode_.restarts_only && !to_start) return STG_E_INVALIDFUNCTION;
        std::uint64_t base = 0;
        switch (origin) {
            case STREAM_SEEK_SET:
                break;
            case STREAM_SEEK_CUR:
                base = position_;
                break;
            case STREAM_SEEK_END:
                base = size_;
                break;
            default:
                return STG_E_INVALIDFUNCTION;
        }
        // Both terms are far from the ends of their range, so the sum is in it.
        constexpr auto kFar = static_cast<LONGLONG>(kLargestStream);
        if (move.QuadPart < -kFar || move.QuadPart > kFar) return STG_E_INVALIDFUNCTION;
        const LONGLONG target = static_cast<LONGLONG>(base) + move.QuadPart;
        if (target < 0 || target > kFar) return STG_E_INVALIDFUNCTION;
        position_ = static_cast<std::uint64_t>(target);
        if (now != nullptr) now->QuadPart = position_;
        return S_OK;
    });
}

HRESULT ByteStream::SetSize(ULARGE_INTEGER size) {
    return Enter(Call::kStreamSetSize, [&]() -> HRESULT {
        if (mode_.in_sequence) return E_NOTIMPL;
        if (!mode_.writable) return STG_E_ACCESSDENIED;
        if (mode_.restarts_only && size.QuadPart != 0) return STG_E_INVALIDFUNCTION;
        if (size.QuadPart > kLargestStream) return STG_E_MEDIUMFULL;
        Resize(size.QuadPart);
        return WriteThrough();
    });
}

HRESULT ByteStream::CopyTo(IStream* target, ULARGE_INTEGER size, ULARGE_INTEGER* read,
                           ULARGE_INTEGER* written) {
    if (read != nullptr) read->QuadPart = 0;
    if (written != nullptr) written->QuadPart = 0;
    return Enter(Call::kStreamCopyTo, [&]() -> HRESULT {
        if (!mode_.readable) return STG_E_ACCESSDENIED;
        if (target == nullptr) return STG_E_INVALIDPOINTER;
        const Content source = Bytes();  // stays as it is, should the target be this stream
        const std::uint64_t start = std::min<std::uint64_t>(position_, source->size());
        const auto count =
            static_cast<ULONG>(std::min<std::uint64_t>(source->size() - start, size.QuadPart));
        position_ += count;
        if (read != nullptr) read->QuadPart = count;
        ULONG taken = 0;
        const HRESULT code = target->Write(source->data() + start, count, &taken);
        if (written != nullptr) written->QuadPart = taken;
        return code;
    });
}

HRESULT ByteStream::Commit(DWORD flags) {
    return Enter(Call::kStreamCommit, [&]() -> HRESULT {
        if (runtime()->Refuses(flags, STGC_OVERWRITE | STGC_ONLYIFCURRENT))
            return STG_E_INVALIDFLAG;
        if (!mode_.writable || !sink_) return S_OK;
        const HRESULT code = sink_(Bytes());
        if (SUCCEEDED(code) && mode_.reverts) {
            committed_ = bytes_;
            own_.reset();
        }
        return code;
    });
}

HRESULT ByteStream::Revert() {
    return Enter(Call::kUnsupported, [&]() -> HRESULT {
        if (mode_.in_sequence) return E_NOTIMPL;
        if (!mode_.reverts) return MAPI_E_NO_SUPPORT;
        bytes_ = committed_;
        own_.reset();
        size_ = bytes_->size();
        position_ = 0;
        return mode_.writable ? WriteThrough() : S_OK;
    });
}

HRESULT ByteStream::Stat(STATSTG* stat, DWORD flags) {
    return Enter(Call::kStreamStat, [&]() -> HRESULT {
        if (mode_.in_sequence) return E_NOTIMPL;
        if (stat == nullptr) return STG_E_INVALIDPOINTER;
        if (runtime()->Refuses(flags, STATFLAG_NONAME | STATFLAG_NOOPEN)) return STG_E_INVALIDFLAG;
        *stat = {};  // no stream here has a name
        stat->type = STGTY_STREAM;
        std::uint64_t shown = size_;
        if (const auto& distort = runtime()->distortion().stream_size) distort(shown);
        stat->cbSize.QuadPart = shown;
        const auto access = !mode_.writable  ? STGM_READ
                            : mode_.readable ? STGM_READWRITE
                                             : STGM_WRITE;
        stat->grfMode = static_cast<DWORD>(access);
        return S_OK;
    });
}

}  // namespace sandbox::outlook
