#include "outlook/message_properties.h"

#include <span>

#include "internal/helpers/hresult_exception.h"
#include "mapi/entry_id.h"
#include "mapi/one_property.h"
#include "mapi/property_tags.h"
#include "vek/core/ref_ptr.h"

namespace plugins::mail_processing {

void TestProperty(IMAPIProp& message, const mapi::MapiFunctions& functions) {
    constexpr auto kNoSender = static_cast<HRESULT>(0x80000051);
    const mapi::OneProperty sender(functions, message, mapi::tag::kSenderNameW);
    if (sender.has_errors()) helpers::ThrowHResult(kNoSender);
}

ULONG MessageFlags(IMAPIProp& message, const mapi::MapiFunctions& functions) {
    const mapi::OneProperty flags(functions, message, mapi::tag::kMessageFlags);
    return flags.value() == nullptr ? 0 : static_cast<ULONG>(flags.value()->Value.l);
}

std::u16string EntryIdFromCallback(mapi::IExchExtCallback* callback,
                                   const mapi::MapiFunctions& functions) {
    vek::Check(callback != nullptr);
    vek::RefPtr<IMsgStore> store;
    vek::RefPtr<IMAPIProp> message;
    helpers::CheckGiven(callback->GetObject(store.put(), message.put()), message);
    const mapi::OneProperty entry_id(functions, *message, mapi::tag::kEntryId);
    if (entry_id.value() == nullptr) return {};
    const SBinary& bytes = entry_id.value()->Value.bin;
    const std::span<const BYTE> given(bytes.lpb, bytes.lpb == nullptr ? 0 : bytes.cb);
    return mapi::EntryIdToHex(std::as_bytes(given));
}

}  // namespace plugins::mail_processing
