#include "sandbox/outlook/object_model/exchange_callback.h"

#include <algorithm>
#include <utility>

namespace sandbox::outlook {

ExchangeCallback::ExchangeCallback(std::shared_ptr<ObjectModel> model, MapiSubsystem& mapi,
                                   std::string entry_id)
    : model_(std::move(model)),
      mapi_(mapi),
      entry_id_(std::move(entry_id)),
      live_(model_->live_items) {}

HRESULT ExchangeCallback::GetVersion(ULONG* version, ULONG flags) {
    return Enter(*model_, ObjectCall::kExtVersion, [&]() -> HRESULT {
        if (version == nullptr || flags != plugins::mapi::exch_version::kBuild) return E_INVALIDARG;
        *version = model_->client_build;
        return S_OK;
    });
}

HRESULT ExchangeCallback::GetSession(IMAPISession** session, IAddrBook** address_book) {
    return Enter(*model_, ObjectCall::kExtSession, [&]() -> HRESULT {
        if (address_book != nullptr) *address_book = nullptr;
        if (session != nullptr) *session = mapi_.OpenSession().detach();
        return S_OK;
    });
}

HRESULT ExchangeCallback::GetObject(IMsgStore** store, IMAPIProp** object) {
    return Enter(*model_, ObjectCall::kExtObject, [&]() -> HRESULT {
        if (store != nullptr) *store = nullptr;
        if (object != nullptr) *object = nullptr;
        auto message = mapi_.OpenMessage(entry_id_);
        if (!message) return MAPI_E_NOT_FOUND;
        if (store != nullptr) *store = mapi_.OpenStore().detach();
        if (object != nullptr) *object = message.detach();
        return S_OK;
    });
}

HRESULT ExchangeCallback::GetSelectionCount(ULONG* count) {
    return Enter(*model_, ObjectCall::kExtSelection, [&]() -> HRESULT {
        if (count == nullptr) return E_INVALIDARG;
        *count = 1;
        return S_OK;
    });
}

HRESULT ExchangeCallback::GetSelectionItem(ULONG index, ULONG* entry_id_size, ENTRYID** entry_id,
                                           ULONG* type, LPTSTR message_class,
                                           ULONG message_class_size, ULONG* flags, ULONG) {
    return Enter(*model_, ObjectCall::kExtSelection, [&]() -> HRESULT {
        if (index != 0) return E_INVALIDARG;
        if (type != nullptr) *type = MAPI_MESSAGE;
        if (flags != nullptr) *flags = 0;
        if (message_class != nullptr && message_class_size != 0) *message_class = 0;
        if (entry_id_size == nullptr || entry_id == nullptr) return S_OK;
        void* const bytes = mapi_.memory().Allocate(entry_id_.size());
        std::ranges::copy(entry_id_, static_cast<char*>(bytes));
        *entry_id = static_cast<ENTRYID*>(bytes);
        *entry_id_size = static_cast<ULONG>(entry_id_.size());
        return S_OK;
    });
}

}  // namespace sandbox::outlook
