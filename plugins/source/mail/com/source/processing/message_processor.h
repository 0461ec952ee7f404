#pragma once

#include <memory>
#include <string_view>

#include "common/loader/service_access.h"
#include "mapi/exchange_extension.h"
#include "mapi/mapi_functions.h"
#include "mapi/mapi_interfaces.h"
#include "processing/check_observer.h"
#include "scanner/mail_scanner_proxy.h"
#include "vek/core/ref_ptr.h"
#include "vek/platform/clock.h"
#include "vek/platform/lock.h"
#include "vek/platform/system.h"
#include "vek/trace/tracer.h"

namespace plugins::mail_processing {

class InvokeDispatcher;

// For ProcessMessage: mail that was received or is read, against mail that is being sent; a check
// on Outlook's thread, against one on the background thread.
inline constexpr bool kIncoming = true;
inline constexpr bool kOutgoing = false;
inline constexpr bool kForeground = false;
inline constexpr bool kBackground = true;

// The surroundings of a processor besides MAPI. References outlive it.
struct ProcessorEnvironment {
    vek::platform::System& system = vek::platform::TheSystem();
    vek::platform::Clock& clock = vek::platform::TheClock();
    loader::ServiceAccess& services = loader::ProcessServices();
    vek::trace::TracerPtr tracer = vek::trace::ProcessTracer();
    CheckObserver& observer = NoObserver();
};

// Checks one message at a time on each thread that calls it: hands the message to the scanner
// from a worker thread and serves the scanner's calls on the calling thread, which owns the
// message. Returns when the check has ended. A check that fails is traced; what its scanner had
// changed whole stays, and what it had begun and not committed is taken back. No window messages
// are processed meanwhile, and there is no time-out.
//
// The observer is told of each check's begin and of its end, under the number given or a new one.
// Operations raise helpers::HResultCodeException or a vek exception.
class MessageProcessor {
public:
    // `context` is kept alive with the processor and not used by it. `session`, when given, is
    // used for every message; the reference is the processor's own.
    static std::shared_ptr<MessageProcessor> Create(
        std::shared_ptr<void> context, std::shared_ptr<const mapi::MapiFunctions> functions,
        IMAPISession* session = nullptr, ProcessorEnvironment environment = {});

    MessageProcessor(const MessageProcessor&) = delete;
    MessageProcessor& operator=(const MessageProcessor&) = delete;

    // `incoming` and `background` are of the constants above; the latter picks the background
    // session when no session was supplied. The calling thread owns `message`.
    void ProcessMessage(IMessage* message, bool incoming, bool background,
                        const ObservedCheck& check = {});

    // Checks the message that an Exchange client extension was called for.
    void ProcessMessageFromCallback(mapi::IExchExtCallback* callback,
                                    const ObservedCheck& check = {});

    // Checks the message with this entry id, hexadecimal digits, two a byte. Characters that are
    // no digits count as 0, an odd last one is ignored. Background thread only.
    void ProcessMessageByEntryId(std::u16string_view hex_entry_id, check_number_t number = 0);

    // Opens the background session, unless a session was supplied. Background thread only.
    void LogonBackgroundSession();

    // Ends it; S_OK when there is none. The session object itself is released with the processor.
    // Background thread only.
    HRESULT LogoffBackgroundSession();

    // To be called before the background thread is ended by force: no call into the message that
    // it checks, or into one that it checks later, is begun any more. Any thread.
    void CloseBackgroundChecks() noexcept;

    // To be called when the background thread was ended by force: whoever still calls into the
    // message that it was checking gets a failure instead of waiting for ever. Any thread.
    void BackgroundThreadIsGone() noexcept;

private:
    class BackgroundCheck;

    MessageProcessor(std::shared_ptr<void> context,
                     std::shared_ptr<const mapi::MapiFunctions> functions, IMAPISession* session,
                     ProcessorEnvironment environment);

    // Runs `check_message`, which gives the scanner's code, between the two calls of the observer.
    template <class Body>
    void Observe(ObservedCheck check, const Body& check_message);
    vek::result_t Check(IMessage* message, bool incoming, bool background);
    vek::result_t CheckFromCallback(mapi::IExchExtCallback* callback);
    vek::result_t CheckByEntryId(std::u16string_view hex_entry_id);
    vek::RefPtr<IMAPISession> TakeSession(bool background) const;
    vek::RefPtr<IMAPISession> Logon(char* name, ULONG flags) const;

    const ProcessorEnvironment environment_;
    const std::shared_ptr<void> context_;
    const std::shared_ptr<const mapi::MapiFunctions> functions_;
    const vek::RefPtr<MailScannerProxy> scanner_;
    const vek::RefPtr<IMAPISession> session_;
    vek::RefPtr<IMAPISession> background_session_;

    vek::platform::Lock background_lock_;  // guards what follows
    std::shared_ptr<InvokeDispatcher> background_dispatcher_;
    bool background_closed_ = false;
};

}  // namespace plugins::mail_processing
