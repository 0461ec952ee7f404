#pragma once

#include <atomic>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "sandbox/demo/scenario/addin_session.h"
#include "sandbox/demo/scenario/damage.h"
#include "sandbox/demo/scenario/event.h"
#include "sandbox/demo/scenario/mail_shelf.h"
#include "sandbox/demo/scenario/scenario_product.h"
#include "sandbox/demo/scenario/scoreboard.h"
#include "sandbox/outlook/mapi_subsystem.h"
#include "vek/platform/clock.h"
#include "vek/trace/file_tracer.h"

namespace sandbox::demo {

// The files and versions that a player works with.
struct PlayerOptions {
    std::filesystem::path messages;  // the folder of the manifest and its message files
    std::filesystem::path out;       // gets the trace in "trace", unless the product says otherwise
    std::filesystem::path rules;
    // A product in a process of its own; without a folder one in this process.
    RemoteProductOptions product;
    std::string version = "15";  // Outlook's
    outlook::StoreTraits store = outlook::kUsualStore;
    std::uint64_t trace_bytes = 16 << 20;
    std::chrono::milliseconds event_wait = vek::remoting::kEventWait;  // the add-in's
};

// Counts what is still held when everything should have been given back.
struct Leftovers {
    std::uint32_t items = 0;
    std::uint32_t connections = 0;
    std::uint32_t mapi_objects = 0;
    std::size_t mapi_buffers = 0;
    std::size_t bad_frees = 0;
    std::uint32_t foreign_calls = 0;      // of a MAPI object on a thread that it does not belong to
    std::uint32_t outliving_objects = 0;  // the last MAPIUninitialize of their thread
    int initializations = 0;

    bool none() const;
};

// The system's clock with ticks that can be moved ahead.
class MovableClock final : public vek::platform::Clock {
public:
    std::uint32_t TickCount() noexcept override {
        return vek::platform::TheClock().TickCount() + ahead_;
    }
    vek::platform::filetime_t UtcNow() noexcept override {
        return vek::platform::TheClock().UtcNow();
    }
    std::int32_t UtcOffsetMinutes() noexcept override {
        return vek::platform::TheClock().UtcOffsetMinutes();
    }
    void Advance(std::uint32_t milliseconds) { ahead_ += milliseconds; }

private:
    std::atomic<std::uint32_t> ahead_{0};
};

// Plays events in a stand-in Outlook with the add-in and a product, and keeps the scoreboard. Used
// on one thread. Starts the product.
class Player {
public:
    // Raises std::exception when there is no product, no rules or no mail.
    explicit Player(PlayerOptions options);
    ~Player();
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    // Has Outlook load the add-in. Raises std::runtime_error when it does not connect.
    void Connect();

    // Plays an event at once, whatever its time. What goes wrong with it is in troubles().
    void Play(const ScenarioEvent& event);

    // Outlook quits and unloads the add-in, unless it has done so.
    void Quit();

    // Waits until nothing is queued; whether that is so in time.
    bool WaitIdle();

    // Looks at every message for damage, which is added to the troubles, then forgets them when
    // they are to be deleted. Nothing may be under way; what was planned to fail no longer does.
    void Inspect(bool delete_them);

    // Stops the product, if it runs, in order; when that fails it is a trouble.
    void StopProduct();

    // After Quit.
    Leftovers leftovers();

    // The subject of a message as it is now; empty when there is none.
    std::string Subject(const std::string& entry_id);

    const std::vector<std::string>& troubles() const { return troubles_; }
    int damaged() const { return damaged_; }
    Scoreboard& scoreboard() { return scoreboard_; }
    MailShelf& shelf() { return shelf_; }
    Mailbox& mailbox() { return mailbox_; }
    MovableClock& clock() { return clock_; }
    outlook::HostOutlook& host() { return *host_; }
    outlook::MapiSubsystem& mapi() { return mapi_; }
    std::filesystem::path trace_folder() const;

private:
    void PlayNow(const ScenarioEvent& event);
    void Deliver(const ScenarioEvent& event);
    void Open(const ScenarioEvent& event);
    void Close(const ScenarioEvent& event);
    void Send(const ScenarioEvent& event);
    void Plan(const NthCall& call, std::function<void()> action, HRESULT code);
    void ChangeSettings(const ScenarioEvent& event);
    void ChangePolicy(const ScenarioEvent& event);
    // A row of the table for something that happens on Outlook's thread; `body` gives the entry id
    // of its message.
    void OnOutlook(const std::string& text, const std::function<std::string()>& body);
    void Complain(const std::string& what);

    const PlayerOptions options_;
    outlook::MapiSubsystem mapi_{options_.store};
    MailShelf shelf_;
    Mailbox mailbox_;
    const std::unique_ptr<ScenarioProduct> product_;
    plugins::product::MailPluginSettings settings_;
    MovableClock clock_;
    Scoreboard scoreboard_;
    const vek::trace::FileTracerConfig trace_;
    vek::trace::TracerPtr tracer_;
    plugins::loader::ServiceAccess services_;
    std::unique_ptr<DamageFinder> damage_;
    std::vector<std::string> troubles_;
    int damaged_ = 0;
    const std::unique_ptr<outlook::HostOutlook> host_;
    AddinSession addin_;
};

}  // namespace sandbox::demo
