#include "mapi/one_property.h"

#include "internal/helpers/hresult_exception.h"

namespace plugins::mapi {

SPropTagArray OneTag(ULONG tag) noexcept {
    SPropTagArray tags{};
    tags.cValues = 1;
    tags.aulPropTag[0] = tag;
    return tags;
}

OneProperty::OneProperty(const MapiFunctions& functions, IMAPIProp& object, ULONG tag,
                         vek::SourceLocation place)
    : tag_(tag), buffer_(functions) {
    SPropTagArray tags = OneTag(tag);
    result_ = object.GetProps(&tags, 0, &count_, buffer_.put());
    helpers::CheckHResult(result_, place);
}

const SPropValue* OneProperty::value() const noexcept {
    const SPropValue* const found = given();
    return found != nullptr && found->ulPropTag == tag_ ? found : nullptr;
}

}  // namespace plugins::mapi
