#include "sandbox/outlook/property_stream.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include "sandbox/outlook/property_bag.h"
#include "vek/core/text.h"

namespace sandbox::outlook {
namespace {

// The largest stream: a property cannot be larger either.
constexpr std::uint64_t kLargest = std::numeric_limits<std::int32_t>::max();

// The access bits of the STGM flags.
constexpr ULONG kAccessMask = 3;

// A stream of a wide text holds its UTF-16 units as they lie in memory.
Content AsUnits(const std::string& utf8) {
    const std::u16string text = vek::ToUtf16(utf8);
    auto units = std::make_shared<std::string>(text.size() * sizeof(char16_t), '\0');
    std::memcpy(units->data(), text.data(), units->size());
    return units;
}

std::string FromUnits(const std::string& units) {
    std::u16string text(units.size() / sizeof(char16_t), u'\0');  // half a unit is dropped
    std::memcpy(text.data(), units.data(), text.size() * sizeof(char16_t));
    return vek::ToUtf8(text);
}

}  // namespace

PropertyStream::PropertyStream(std::shared_ptr<Runtime> runtime, vek::RefPtr<IUnknown> owner,
                               PropertyHolder& holder, ULONG tag, Content content, Mode mode)
    : ComObject(std::move(runtime)),
      owner_(std::move(owner)),
      holder_(holder),
      tag_(tag),
      mode_(mode),
      bytes_(PROP_TYPE(tag) == PT_UNICODE ? AsUnits(*content) : std::move(content)) {}

std::string& PropertyStream::Changing() {
    if (own_ == nullptr || own_.use_count() > 2) {  // two of them are ours
        own_ = std::make_shared<std::string>(*bytes_);
        bytes_ = own_;
    }
    return *own_;
}

HRESULT PropertyStream::Read(void* buffer, ULONG size, ULONG* read) {
    if (read != nullptr) *read = 0;
    return Enter(Call::kStreamRead, [&]() -> HRESULT {
        if (!mode_.readable) return STG_E_ACCESSDENIED;
        if (buffer == nullptr && size != 0) return STG_E_INVALIDPOINTER;
        const std::uint64_t left =
            bytes_->size() - std::min<std::uint64_t>(position_, bytes_->size());
        const std::uint64_t count =
            std::min<std::uint64_t>(left, runtime()->faults().ReadLimit(size));
        if (count != 0) std::memcpy(buffer, bytes_->data() + position_, count);
        position_ += count;
        if (read != nullptr) *read = static_cast<ULONG>(count);
        return S_OK;
    });
}

HRESULT PropertyStream::Write(const void* bytes, ULONG size, ULONG* written) {
    if (written != nullptr) *written = 0;
    return Enter(Call::kStreamWrite, [&]() -> HRESULT {
        if (!mode_.writable) return STG_E_ACCESSDENIED;
        if (bytes == nullptr && size != 0) return STG_E_INVALIDPOINTER;
        if (position_ + size > kLargest) return STG_E_MEDIUMFULL;
        if (size != 0) {
            std::string& target = Changing();
            if (position_ > target.size()) target.resize(position_);
            const std::size_t over = std::min<std::size_t>(size, target.size() - position_);
            const char* const source = static_cast<const char*>(bytes);
            std::copy_n(source, over, target.begin() + static_cast<std::ptrdiff_t>(position_));
            target.append(source + over, size - over);
            position_ += size;
        }
        if (written != nullptr) *written = size;
        return S_OK;
    });
}

HRESULT PropertyStream::Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* now) {
    return Enter(Call::kStreamSeek, [&]() -> HRESULT {
        std::uint64_t base = 0;
        switch (origin) {
            case STREAM_SEEK_SET:
                break;
            case STREAM_SEEK_CUR:
                base = position_;
                break;
            case STREAM_SEEK_END:
                base = bytes_->size();
                break;
            default:
                return STG_E_INVALIDFUNCTION;
        }
        // Both terms are far from the ends of their range, so the sum is in it.
        constexpr auto kFar = static_cast<LONGLONG>(kLargest);
        if (move.QuadPart < -kFar || move.QuadPart > kFar) return STG_E_INVALIDFUNCTION;
        const LONGLONG target = static_cast<LONGLONG>(base) + move.QuadPart;
        if (target < 0 || target > kFar) return STG_E_INVALIDFUNCTION;
        position_ = static_cast<std::uint64_t>(target);
        if (now != nullptr) now->QuadPart = position_;
        return S_OK;
    });
}

HRESULT PropertyStream::SetSize(ULARGE_INTEGER size) {
    return Enter(Call::kStreamSetSize, [&]() -> HRESULT {
        if (!mode_.writable) return STG_E_ACCESSDENIED;
        if (size.QuadPart > kLargest) return STG_E_MEDIUMFULL;
        Changing().resize(size.QuadPart);
        return S_OK;
    });
}

HRESULT PropertyStream::CopyTo(IStream* target, ULARGE_INTEGER size, ULARGE_INTEGER* read,
                               ULARGE_INTEGER* written) {
    if (read != nullptr) read->QuadPart = 0;
    if (written != nullptr) written->QuadPart = 0;
    return Enter(Call::kStreamCopyTo, [&]() -> HRESULT {
        if (!mode_.readable) return STG_E_ACCESSDENIED;
        if (target == nullptr) return STG_E_INVALIDPOINTER;
        const Content source = bytes_;  // stays as it is, should the target be this stream
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

HRESULT PropertyStream::Commit(DWORD) {
    return Enter(Call::kStreamCommit, [&]() -> HRESULT {
        if (!mode_.writable) return S_OK;
        switch (PROP_TYPE(tag_)) {
            case PT_UNICODE:
                return holder_.Put(tag_, PropertyValue::Text(FromUnits(*bytes_)));
            case PT_STRING8:
                return holder_.Put(tag_, PropertyValue::Text(bytes_));
            default:
                return holder_.Put(tag_, PropertyValue::Binary(bytes_));
        }
    });
}

HRESULT PropertyStream::Stat(STATSTG* stat, DWORD) {
    return Enter(Call::kStreamStat, [&]() -> HRESULT {
        if (stat == nullptr) return STG_E_INVALIDPOINTER;
        *stat = {};  // a property's stream has no name
        stat->type = STGTY_STREAM;
        stat->cbSize.QuadPart = bytes_->size();
        const auto access = !mode_.writable  ? STGM_READ
                            : mode_.readable ? STGM_READWRITE
                                             : STGM_WRITE;
        stat->grfMode = static_cast<DWORD>(access);
        return S_OK;
    });
}

HRESULT OpenStream(std::shared_ptr<Runtime> runtime, vek::RefPtr<IUnknown> owner,
                   PropertyHolder& holder, ULONG tag, ULONG options, ULONG flags, IUnknown** out) {
    const bool creating = (flags & MAPI_CREATE) != 0;
    const bool writing = (flags & MAPI_MODIFY) != 0;
    if (creating && !writing) return MAPI_E_INVALID_PARAMETER;
    if (writing && holder.access() != Access::kReadWrite) return MAPI_E_NO_ACCESS;
    const ULONG type = PROP_TYPE(tag);
    if (type != PT_STRING8 && type != PT_UNICODE && type != PT_BINARY)
        return MAPI_E_INTERFACE_NOT_SUPPORTED;

    Content content;
    if (creating) {
        content = std::make_shared<const std::string>();
    } else if (const auto value = holder.Get(KeptTag(tag))) {
        content = value->content();
    } else {
        return MAPI_E_NOT_FOUND;
    }
    const PropertyStream::Mode mode{(options & kAccessMask) != STGM_WRITE, writing};
    return GiveTo(out, vek::MakeObject<PropertyStream>(std::move(runtime), std::move(owner), holder,
                                                       tag, std::move(content), mode));
}

}  // namespace sandbox::outlook
