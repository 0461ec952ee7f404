#pragma once

#include <memory>

#include "com/class_factory_win32.h"
#include "com/com_object.h"
#include "com/connection_point_win32.h"
#include "outlook/item_event_handler.h"

// The order matters: it needs windows.h.
#include <oaidl.h>

#include "outlook_addin.h"

namespace plugins::dll {

// The item event handler as the type library has it: what pOwner and pSource are to it, an
// ItemEventHandler decides. It is itself the sink of the item's events. The add-in makes one for
// each item that it follows; nothing else does. On Outlook's thread.
//
// While it is advised it holds itself, owner and source: until Unadvise, or the item's Unload.
class ItemEventObject final
    : public com::CountedObject<com::ConnectionPointContainer, IDispatch, IEventHandle>,
      private mail_processing::ItemNotifications {
public:
    // Raises std::bad_alloc.
    explicit ItemEventObject(vek::trace::TracerPtr tracer);

    // Connects this to the ItemEvents_10 of `source`, then `owner` to the ItemNotifications of
    // this. The code of the call that failed, and then nothing is connected; E_POINTER without an
    // owner or a source, E_UNEXPECTED while it is advised.
    HRESULT STDMETHODCALLTYPE Advise(IUnknown* owner, IUnknown* source) noexcept override;
    // Ends both, and gives the code of the first that fails.
    HRESULT STDMETHODCALLTYPE Unadvise() noexcept override;

    const std::shared_ptr<mail_processing::ItemEventHandler>& handler() const noexcept {
        return handler_;
    }

    // The sink of ItemEvents_10; no type information.
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) noexcept override;
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo** info) noexcept override;
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID,
                                            DISPID*) noexcept override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID event, REFIID id, LCID, WORD kind,
                                     DISPPARAMS* parameters, VARIANT*, EXCEPINFO*,
                                     UINT* wrong_argument) noexcept override;

private:
    class Source;

    explicit ItemEventObject(vek::trace::TracerPtr tracer, std::shared_ptr<com::Subscribers> sinks);
    void* Find(REFIID id) noexcept override;

    // The owner, as the handler sees it: it is connected to the ItemNotifications of this.
    HRESULT Follow(const std::shared_ptr<mail_processing::ItemEventHandler>&,
                   mail_processing::EventConnectionPtr& connection) noexcept override;
    void ItemRead(const mail_processing::ItemPtr& item) noexcept override;

    const std::shared_ptr<com::Subscribers> sinks_;
    const std::shared_ptr<mail_processing::ItemEventHandler> handler_;
    vek::RefPtr<IUnknown> advising_;  // the owner, during Advise
};

// Has an item followed by such an object for `owner`, for AddinEnvironment::advise_item.
HRESULT AdviseItemObject(mail_processing::ItemNotifications& owner,
                         const mail_processing::ItemPtr& item,
                         const vek::trace::TracerPtr& tracer) noexcept;

}  // namespace plugins::dll
