#include "automation/event_sink.h"

#include "com/border.h"

namespace plugins::mail_processing::automation {

HRESULT EventSink::GetTypeInfoCount(UINT* count) noexcept {
    if (count == nullptr) return E_POINTER;
    *count = 0;
    return S_OK;
}

HRESULT EventSink::GetTypeInfo(UINT, LCID, ITypeInfo** info) noexcept {
    if (info != nullptr) *info = nullptr;
    return E_NOTIMPL;
}

HRESULT EventSink::GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) noexcept {
    return E_NOTIMPL;
}

HRESULT EventSink::Invoke(DISPID event, REFIID, LCID, WORD, DISPPARAMS* parameters, VARIANT*,
                          EXCEPINFO*, UINT*) noexcept {
    if (muted_) return S_OK;
    // The handler may end the subscription, and with it the last other reference.
    const auto self = vek::RefPtr<EventSink>::Share(this);
    return AtBorder([&] { handler_(event, EventArguments(parameters)); });
}

void* EventSink::Find(REFIID id) noexcept {
    return id == IID_IDispatch || id == events_ ? static_cast<IDispatch*>(this) : nullptr;
}

}  // namespace plugins::mail_processing::automation
