#include "sandbox/outlook/property_stream.h"

#include <cstring>
#include <utility>

#include "sandbox/outlook/code_page.h"
#include "sandbox/outlook/property_bag.h"
#include "vek/core/text.h"

namespace sandbox::outlook {
namespace {

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

// The bytes that a stream shows of a property's content, and the property made of such bytes.
Content Shown(ULONG tag, Content content, unsigned code_page) {
    switch (PROP_TYPE(tag)) {
        case PT_UNICODE:
            return AsUnits(*content);
        case PT_STRING8:
            return ToCodePage(std::move(content), code_page);
        default:
            return content;
    }
}

PropertyValue Kept(ULONG tag, const Content& bytes, unsigned code_page) {
    switch (PROP_TYPE(tag)) {
        case PT_UNICODE:
            return PropertyValue::Text(FromUnits(*bytes));
        case PT_STRING8:
            return PropertyValue::Text(FromCodePage(bytes, code_page));
        default:
            return PropertyValue::Binary(bytes);
    }
}

}  // namespace

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
    const StoreTraits& traits = runtime->traits();
    using SecondStream = StoreTraits::SecondStream;
    if (traits.second_stream != SecondStream::kOpened && holder.streams().IsOpen(KeptTag(tag))) {
        ByteStream* const first = holder.streams().First(KeptTag(tag));
        if (traits.second_stream == SecondStream::kRefused || first->writable())
            return MAPI_E_NO_ACCESS;
        return GiveTo(out, vek::RefPtr<ByteStream>::Share(first));
    }
    const ByteStream::Mode mode{.readable = (options & kAccessMask) != STGM_WRITE,
                                .writable = writing,
                                .restarts_only = traits.streams_restart_only,
                                .writes_through = traits.writes_through,
                                .reverts = traits.reverts};
    auto entry = holder.streams().Add(KeptTag(tag));
    const Content shown = Shown(tag, content, traits.code_page);
    // Bytes that were not changed, or reverted, are the old text, whatever the code page lacks.
    auto sink = [owner = std::move(owner), &holder, tag, entry, content, shown,
                 page = traits.code_page](const Content& bytes) {
        if (bytes == shown && PROP_TYPE(tag) != PT_BINARY)
            return holder.Put(tag, PropertyValue::Text(content));
        return holder.Put(tag, Kept(tag, bytes, page));
    };
    if (creating && traits.writes_through) {
        if (const HRESULT code = sink(shown); FAILED(code)) return code;
    }
    auto stream = vek::MakeObject<ByteStream>(std::move(runtime), shown, mode, std::move(sink));
    *entry = stream.get();
    return GiveTo(out, std::move(stream));
}

}  // namespace sandbox::outlook
