#include "sandbox/demo/scenario/addin_session.h"

#include <utility>

#include "outlook/Addin.h"
#include "outlook/ExchClientExt.h"

namespace sandbox::demo {

namespace mail_processing = plugins::mail_processing;

class AddinSession::Parts {
public:
    Parts(outlook::HostOutlook& host, plugins::loader::ServiceAccess& services,
          vek::platform::Clock& clock, vek::trace::TracerPtr tracer,
          mail_processing::CheckObserver& observer, std::chrono::milliseconds event_wait)
        : host_(host),
          services_(services),
          clock_(clock),
          tracer_(std::move(tracer)),
          observer_(observer),
          event_wait_(event_wait) {}

    HRESULT Connect() {
        HRESULT code = E_FAIL;
        host_.Run([&] {
            addin_ = std::make_unique<mail_processing::CAddin>(mail_processing::AddinEnvironment{
                .load_mapi =
                    [] {
                        return std::make_shared<const plugins::mapi::MapiFunctions>(
                            outlook::MapiSubsystem::Functions());
                    },
                .create_extension =
                    [this](auto& source) {
                        source = mail_processing::CExchClientExt::EventsOf(MakeExtension());
                        return S_OK;
                    },
                .cursor = cursor_,
                .services = services_,
                .clock = clock_,
                .tracer = tracer_,
                .observer = observer_,
                .event_wait = event_wait_});
            host_.LoadExtension([this] { return MakeExtension(); });
            code = addin_->OnConnection(host_);
            if (FAILED(code)) Disconnect();
        });
        return code;
    }

    void Disconnect() {
        host_.Run([&] {
            if (addin_) addin_->OnDisconnection();
            addin_.reset();
            host_.UnloadExtension();
        });
    }

    bool is_connected() const { return addin_ != nullptr; }

private:
    // As the class object does it, for Outlook as for the add-in.
    vek::RefPtr<mail_processing::CExchClientExt> MakeExtension() const {
        return vek::MakeObject<mail_processing::PlainExchClientExt>(tracer_);
    }

    outlook::HostOutlook& host_;
    plugins::loader::ServiceAccess& services_;
    vek::platform::Clock& clock_;
    const vek::trace::TracerPtr tracer_;
    mail_processing::CheckObserver& observer_;
    const std::chrono::milliseconds event_wait_;
    // There is no mouse.
    class NoCursor final : public mail_processing::Cursor {
    public:
        void* Show(std::uint16_t) noexcept override { return nullptr; }
        void Restore(void*) noexcept override {}
    };

    NoCursor cursor_;
    std::unique_ptr<mail_processing::CAddin> addin_;  // of Outlook's thread
};

AddinSession::AddinSession(outlook::HostOutlook& host, plugins::loader::ServiceAccess& services,
                           vek::platform::Clock& clock, vek::trace::TracerPtr tracer,
                           mail_processing::CheckObserver& observer,
                           std::chrono::milliseconds event_wait)
    : parts_(std::make_unique<Parts>(host, services, clock, std::move(tracer), observer,
                                     event_wait)) {}

AddinSession::~AddinSession() { Disconnect(); }

HRESULT AddinSession::Connect() { return parts_->Connect(); }
void AddinSession::Disconnect() { parts_->Disconnect(); }
bool AddinSession::is_connected() const { return parts_->is_connected(); }

}  // namespace sandbox::demo
