#include "sandbox/outlook/mapi_values.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "sandbox/outlook/code_page.h"
#include "sandbox/outlook/property_bag.h"
#include "vek/core/text.h"

namespace sandbox::outlook {
namespace {

// `text` as a terminated text of Char, allocated with the buffer `first`.
template <class Char>
Char* GiveText(MapiMemory& memory, void* first, std::basic_string_view<Char> text) {
    auto* const given =
        static_cast<Char*>(memory.AllocateMore((text.size() + 1) * sizeof(Char), first));
    *std::copy(text.begin(), text.end(), given) = 0;
    return given;
}

SBinary GiveBinary(MapiMemory& memory, void* first, const std::string& bytes) {
    auto* const given = static_cast<BYTE*>(memory.AllocateMore(bytes.size(), first));
    std::copy(bytes.begin(), bytes.end(), given);
    return {static_cast<ULONG>(bytes.size()), given};
}

FILETIME ToFileTime(std::int64_t time) {
    const auto bits = static_cast<std::uint64_t>(time);
    return {static_cast<DWORD>(bits), static_cast<DWORD>(bits >> 32)};
}

std::int64_t FromFileTime(FILETIME time) {
    return static_cast<std::int64_t>(std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime);
}

std::basic_string<WCHAR> ToWide(const std::string& utf8) {
    const std::u16string text = vek::ToUtf16(utf8);
    return {text.begin(), text.end()};
}

std::string FromWide(std::basic_string_view<WCHAR> text) {
    return vek::ToUtf8(std::u16string(text.begin(), text.end()));
}

void GiveValue(Runtime& runtime, void* first, const PropertyValue& value, SPropValue& out) {
    MapiMemory& memory = runtime.memory();
    switch (PROP_TYPE(out.ulPropTag)) {
        case PT_STRING8:
            out.Value.lpszA = GiveText<char>(
                memory, first, *ToCodePage(value.content(), runtime.traits().code_page));
            break;
        case PT_UNICODE:
            out.Value.lpszW = GiveText<WCHAR>(memory, first, ToWide(*value.content()));
            break;
        case PT_BINARY:
            out.Value.bin = GiveBinary(memory, first, *value.content());
            break;
        case PT_CURRENCY:
            out.Value.cur.int64 = value.number();
            break;
        case PT_BOOLEAN:
            out.Value.b = value.number() != 0;
            break;
        case PT_SYSTIME:
            out.Value.ft = ToFileTime(value.number());
            break;
        default:
            out.Value.l = static_cast<LONG>(value.number());
    }
}

// The tag with a type in place of none, where something of that id is there.
ULONG WithType(const PropertySource& source, ULONG tag, ULONG flags) {
    if (PROP_TYPE(tag) != PT_UNSPECIFIED) return tag;
    for (const ULONG there : source.Tags()) {
        if (PROP_ID(there) == PROP_ID(tag)) return ShownTag(there, flags);
    }
    return tag;
}

}  // namespace

ULONG ShownTag(ULONG kept_tag, ULONG flags) {
    const bool narrow = PROP_TYPE(kept_tag) == PT_UNICODE && (flags & MAPI_UNICODE) == 0;
    return narrow ? CHANGE_PROP_TYPE(kept_tag, PT_STRING8) : kept_tag;
}

bool FillValues(Runtime& runtime, void* first, const PropertySource& source,
                std::span<const ULONG> tags, ULONG flags, SPropValue* values) {
    bool complete = true;
    for (std::size_t i = 0; i != tags.size(); ++i) {
        const ULONG tag = WithType(source, tags[i], flags);
        values[i] = {};
        if (const auto value = source.Get(KeptTag(tag))) {
            values[i].ulPropTag = tag;
            GiveValue(runtime, first, *value, values[i]);
        } else {
            values[i].ulPropTag = CHANGE_PROP_TYPE(tag, PT_ERROR);
            values[i].Value.err = MAPI_E_NOT_FOUND;
            complete = false;
        }
    }
    return complete;
}

std::optional<PropertyValue> TakeValue(const SPropValue& value, unsigned code_page) {
    switch (PROP_TYPE(value.ulPropTag)) {
        case PT_STRING8:
            if (value.Value.lpszA == nullptr) return std::nullopt;
            return PropertyValue::Text(
                FromCodePage(std::make_shared<const std::string>(value.Value.lpszA), code_page));
        case PT_UNICODE:
            if (value.Value.lpszW == nullptr) return std::nullopt;
            return PropertyValue::Text(FromWide(value.Value.lpszW));
        case PT_BINARY:
            if (value.Value.bin.lpb == nullptr && value.Value.bin.cb != 0) return std::nullopt;
            return PropertyValue::Binary(
                std::string(value.Value.bin.lpb, value.Value.bin.lpb + value.Value.bin.cb));
        case PT_LONG:
            return PropertyValue::Long(value.Value.l);
        case PT_CURRENCY:
            return PropertyValue::Currency(value.Value.cur.int64);
        case PT_BOOLEAN:
            return PropertyValue::Boolean(value.Value.b != 0);
        case PT_SYSTIME:
            return PropertyValue::Time(FromFileTime(value.Value.ft));
        default:
            return std::nullopt;
    }
}

}  // namespace sandbox::outlook
