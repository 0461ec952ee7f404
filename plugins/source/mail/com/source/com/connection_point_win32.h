#pragma once

#include <memory>

#include "com/subscribers_win32.h"

// The order matters: it needs windows.h.
#include <ocidl.h>

namespace plugins::com {

// The part of a COM object by which others subscribe to its one outgoing interface. An object
// derives from it instead of from IConnectionPointContainer; its connection points hold the object,
// and connections end with it. On the object's thread. Its points do not enumerate their
// connections (E_NOTIMPL).
class ConnectionPointContainer : public IConnectionPointContainer {
public:
    // `subscribers` are of this object alone; never null.
    explicit ConnectionPointContainer(std::shared_ptr<Subscribers> subscribers) noexcept
        : subscribers_(std::move(subscribers)) {}

    HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints** out) noexcept override;
    // CONNECT_E_NOCONNECTION for any other interface.
    HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID id,
                                                  IConnectionPoint** out) noexcept override;

protected:
    ~ConnectionPointContainer() { subscribers_->Clear(); }

private:
    const std::shared_ptr<Subscribers> subscribers_;
};

}  // namespace plugins::com
