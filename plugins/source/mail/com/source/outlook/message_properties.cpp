#include "outlook/message_properties.h"

#include <span>

#include "internal/helpers/hresult_exception.h"
#include "mapi/mapi_memory.h"
#include "mapi/property_tags.h"
#include "vek/core/ref_ptr.h"

namespace plugins::mail_processing {
namespace {

// One property and what the call said of it.
class OneProperty {
public:
    OneProperty(IMAPIProp& object, ULONG tag, const mapi::MapiFunctions& functions)
        : tag_(tag), value_(functions) {
        SPropTagArray tags = mapi::OneTag(tag);
        ULONG count = 0;
        result_ = object.GetProps(&tags, 0, &count, value_.put());
        helpers::CheckHResult(result_);
    }

    HRESULT result() const noexcept { return result_; }

    // Null when the object does not have it.
    const SPropValue* get() const noexcept {
        return value_ && value_->ulPropTag == tag_ ? value_.get() : nullptr;
    }

private:
    const ULONG tag_;
    mapi::Buffer<SPropValue> value_;
    HRESULT result_ = S_OK;
};

std::u16string ToHex(std::span<const BYTE> bytes) {
    std::u16string digits;
    digits.reserve(bytes.size() * 2);
    for (const BYTE byte : bytes) {
        digits += u"0123456789ABCDEF"[byte >> 4];
        digits += u"0123456789ABCDEF"[byte & 0xF];
    }
    return digits;
}

}  // namespace

void TestProperty(IMAPIProp& message, const mapi::MapiFunctions& functions) {
    constexpr auto kNoSender = static_cast<HRESULT>(0x80000051);
    const OneProperty sender(message, mapi::tag::kSenderNameW, functions);
    if (sender.result() == MAPI_W_ERRORS_RETURNED) helpers::ThrowHResult(kNoSender);
}

ULONG MessageFlags(IMAPIProp& message, const mapi::MapiFunctions& functions) {
    const OneProperty flags(message, mapi::tag::kMessageFlags, functions);
    return flags.get() == nullptr ? 0 : static_cast<ULONG>(flags.get()->Value.l);
}

std::u16string EntryIdFromCallback(mapi::IExchExtCallback* callback,
                                   const mapi::MapiFunctions& functions) {
    vek::Check(callback != nullptr);
    vek::RefPtr<IMsgStore> store;
    vek::RefPtr<IMAPIProp> message;
    helpers::CheckGiven(callback->GetObject(store.put(), message.put()), message);
    const OneProperty entry_id(*message, mapi::tag::kEntryId, functions);
    if (entry_id.get() == nullptr) return {};
    const SBinary& bytes = entry_id.get()->Value.bin;
    return ToHex(std::span<const BYTE>(bytes.lpb, bytes.lpb == nullptr ? 0 : bytes.cb));
}

}  // namespace plugins::mail_processing
