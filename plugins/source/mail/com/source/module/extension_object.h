#pragma once

#include <memory>

#include "automation/exchange_extension.h"
#include "com/class_factory_win32.h"
#include "com/com_object.h"
#include "com/connection_point_win32.h"
#include "outlook/ExchClientExt.h"

#include "outlook_addin.h"

namespace plugins::dll {

// The Exchange client extension as a client and the add-in create it: all interfaces are one
// object's. Events that any of these objects is told are fired to the sinks of _IExchExtEvents of
// each. On Outlook's thread.
class ExtensionObject final
    : public com::CountedObject<com::ConnectionPointContainer, mail_processing::CExchClientExt,
                                IExchClientExt> {
public:
    // Raises std::bad_alloc.
    ExtensionObject();

private:
    explicit ExtensionObject(std::shared_ptr<com::Subscribers> sinks);
    void* Find(REFIID id) noexcept override;

    const com::InstanceMark instance_;
    mail_processing::automation::ExchangeEventPublisher publisher_;
    mail_processing::EventConnectionPtr connection_;
};

// What the client loads the extension by: creates one through its registration, and gives it with a
// reference; null on any failure.
mapi::IExchExt* CreateRegisteredExtension() noexcept;

}  // namespace plugins::dll
