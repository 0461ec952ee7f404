#pragma once

// A fuzzer's bytes as messages, failures and wrong answers.

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "mapi/property_tags.h"
#include "sandbox/outlook/compressed_rtf.h"
#include "sandbox/outlook/mapi_subsystem.h"

namespace fuzz {

using sandbox::outlook::MapiSubsystem;
using sandbox::outlook::MessageRecord;
using sandbox::outlook::PropertyBag;
using sandbox::outlook::PropertyValue;
namespace tag = plugins::mapi::tag;

inline constexpr std::array<ULONG, 37> kTags = {tag::kMessageClassA,
                                                tag::kSubjectA,
                                                tag::kSubjectW,
                                                tag::kClientSubmitTime,
                                                tag::kSentRepresentingNameA,
                                                tag::kProviderSubmitTime,
                                                tag::kSentRepresentingAddrTypeA,
                                                tag::kSentRepresentingEmailAddressA,
                                                tag::kTransportMessageHeadersA,
                                                tag::kRecipientType,
                                                tag::kSenderEntryId,
                                                tag::kSenderNameA,
                                                tag::kSenderAddrTypeA,
                                                tag::kSenderEmailAddressA,
                                                tag::kDisplayCcA,
                                                tag::kDisplayToA,
                                                tag::kHasAttach,
                                                tag::kAttachSize,
                                                tag::kAttachNum,
                                                tag::kEntryId,
                                                tag::kBodyA,
                                                tag::kRtfCompressed,
                                                tag::kBodyHtmlA,
                                                tag::kInternetMessageIdA,
                                                tag::kDisplayNameA,
                                                tag::kAddrTypeA,
                                                tag::kEmailAddressA,
                                                tag::kLastModificationTime,
                                                tag::kAttachDataObj,
                                                tag::kAttachDataBin,
                                                tag::kAttachFilenameA,
                                                tag::kAttachMethod,
                                                tag::kAttachLongFilenameA,
                                                tag::kAttachMimeTagA,
                                                tag::kSmtpAddressA,
                                                tag::kContentTypeA,
                                                0x30080006};

// Takes the bytes piece by piece; what is asked for behind their end is zero or empty.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : data_(data, size) {}

    bool Flip() { return data_.ConsumeBool(); }
    bool More() { return data_.remaining_bytes() != 0; }
    std::uint32_t Number() { return data_.ConsumeIntegral<std::uint32_t>(); }
    std::size_t UpTo(std::size_t most) {
        return data_.ConsumeIntegralInRange<std::size_t>(0, most);
    }
    template <class Value, std::size_t kSize>
    Value Pick(const std::array<Value, kSize>& values) {
        return values[UpTo(kSize - 1)];
    }
    ULONG Tag() { return Pick(kTags); }

    std::string Text() {
        static constexpr std::array<const char*, 8> kTexts = {
            "",
            "IPM.Note.SMIME",
            "Content-Type: text/plain\r\nX: 1\r\n",
            "multipart/signed",
            "<html>x</html>",
            "X: 2",
            "user",
            "a"};
        if (Flip()) return Pick(kTexts);
        const std::size_t repeat = Flip() ? 1 : 1 + UpTo(600);
        std::string piece = data_.ConsumeRandomLengthString(24);
        std::string text;
        for (std::size_t i = 0; i != repeat; ++i) text += piece;
        return text;
    }

    PropertyValue Value(ULONG property) {
        switch (PROP_TYPE(property)) {
            case PT_STRING8:
            case PT_UNICODE:
                return PropertyValue::Text(Text());
            case PT_BINARY:
                if (property == tag::kRtfCompressed && Flip()) {
                    const auto rich = sandbox::outlook::CompressRtf(Text());
                    return PropertyValue::Binary(
                        {reinterpret_cast<const char*>(rich.data()), rich.size()});
                }
                return PropertyValue::Binary(Text());
            case PT_BOOLEAN:
                return PropertyValue::Boolean(Flip());
            case PT_SYSTIME:
                return PropertyValue::Time(data_.ConsumeIntegral<std::int64_t>());
            default:
                return PropertyValue::Long(Flip() ? static_cast<std::int32_t>(UpTo(7))
                                                  : static_cast<std::int32_t>(Number()));
        }
    }

    PropertyBag Properties(std::size_t most) {
        PropertyBag bag;
        for (std::size_t count = UpTo(most); count != 0; --count) {
            const ULONG property = Tag();
            bag.Set(property, Value(property));
        }
        return bag;
    }

    MessageRecord Message() {
        MessageRecord message;
        message.properties = Properties(12);
        for (std::size_t count = UpTo(3); count != 0; --count) {
            message.recipients.push_back(Properties(4));
        }
        for (std::size_t count = UpTo(3); count != 0; --count) {
            PropertyBag attachment = Properties(4);
            attachment.Set(tag::kAttachMethod, PropertyValue::Long(static_cast<int>(UpTo(7))));
            message.AddAttachment(std::move(attachment));
        }
        return message;
    }

    HRESULT Code() {
        static constexpr std::array<HRESULT, 5> kCodes = {
            E_FAIL, static_cast<HRESULT>(MAPI_E_NOT_FOUND), static_cast<HRESULT>(MAPI_E_NO_ACCESS),
            E_OUTOFMEMORY, static_cast<HRESULT>(MAPI_W_ERRORS_RETURNED)};
        return Pick(kCodes);
    }

private:
    FuzzedDataProvider data_;
};

// Wrong answers that a caller can find out about: nothing points to where nothing is.
inline void Distort(Input& input, SPropValue& value) {
    static constexpr std::array<ULONG, 8> kTypes = {PT_STRING8, PT_UNICODE, PT_BINARY,   PT_LONG,
                                                    PT_BOOLEAN, PT_SYSTIME, PT_CURRENCY, PT_CLSID};
    switch (input.UpTo(6)) {
        case 0:
            value.ulPropTag = CHANGE_PROP_TYPE(value.ulPropTag, input.Pick(kTypes));
            value.Value.cur.int64 = 0;
            value.Value.bin.lpb = nullptr;
            if (PROP_TYPE(value.ulPropTag) == PT_BINARY) value.Value.bin.cb = input.Number();
            break;
        case 1:
            value.ulPropTag = CHANGE_PROP_TYPE(value.ulPropTag, PT_ERROR);
            value.Value.err = input.Flip() ? input.Code() : static_cast<SCODE>(input.Number());
            break;
        case 2:
            if (PROP_TYPE(value.ulPropTag) == PT_STRING8) value.Value.lpszA[0] = '\0';
            break;
        default:
            break;
    }
}

// `input` outlives `mapi`.
inline void SetTrouble(Input& input, MapiSubsystem& mapi) {
    auto& faults = mapi.faults();
    for (std::size_t count = input.UpTo(3); count != 0; --count) {
        faults.FailNthOfAll(static_cast<std::uint32_t>(1 + input.UpTo(60)), input.Code());
    }
    if (input.Flip()) faults.LimitReads(static_cast<ULONG>(1 + input.UpTo(9)));
    if (input.Flip()) return;

    auto& distortion = mapi.distortion();
    distortion.values = [&input](SPropValue* values, ULONG& count) {
        for (ULONG i = 0; i != count; ++i) Distort(input, values[i]);
        if (input.UpTo(15) == 1) count = 0;
    };
    distortion.row = [&input](SRow& row) {
        for (ULONG i = 0; i != row.cValues; ++i) Distort(input, row.lpProps[i]);
        if (input.UpTo(7) == 1) row.cValues = static_cast<ULONG>(input.UpTo(row.cValues));
    };
    distortion.stream_size = [&input](std::uint64_t& size) {
        if (input.Flip()) size = std::uint64_t{1} << input.UpTo(63) | input.UpTo(255);
    };
    // Not for ever: the subsystem itself reads to the end.
    distortion.stream_read = [&input, left = 64](std::span<std::byte> buffer) mutable {
        std::optional<ULONG> count;
        if (left == 0 || !input.Flip()) return count;
        --left;
        const std::size_t given = std::min(buffer.size(), input.UpTo(5000));
        std::fill_n(buffer.begin(), given, std::byte{'x'});
        count = input.UpTo(15) == 1 ? input.Number() : static_cast<ULONG>(given);
        return count;
    };
}

}  // namespace fuzz
