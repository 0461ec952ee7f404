#pragma once

#include <atomic>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "sandbox/demo/scenario/addin_session.h"
#include "sandbox/demo/scenario/damage.h"
#include "sandbox/demo/scenario/event_player.h"
#include "sandbox/demo/scenario/reachable_product.h"
#include "sandbox/demo/scenario/scenario_run.h"
#include "sandbox/demo/scenario/scoreboard.h"
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

// Plays events with the add-in in this program, which tells what it does. Starts the product.
class Player final : public EventPlayer {
public:
    // Raises std::exception when there is no product, no rules or no mail.
    explicit Player(PlayerOptions options);
    ~Player() override;

    void Advance(std::uint32_t milliseconds) override { clock_.Advance(milliseconds); }
    EventRows& rows() override { return scoreboard_; }
    Scoreboard& scoreboard() { return scoreboard_; }
    MovableClock& clock() { return clock_; }
    std::filesystem::path trace_folder() const;

private:
    HRESULT ConnectAddin() override { return addin_.Connect(); }
    void DisconnectAddin() override { addin_.Disconnect(); }
    bool IsConnected() const override { return addin_.is_connected(); }
    ScenarioProduct& product() override { return *product_; }
    void FindDamage(std::vector<Inspected>& messages) override;
    void EndInspection() override { damage_.reset(); }

    const PlayerOptions options_;
    const std::unique_ptr<ReachableProduct> product_;
    MovableClock clock_;
    Scoreboard scoreboard_;
    const vek::trace::FileTracerConfig trace_;
    vek::trace::TracerPtr tracer_;
    plugins::loader::ServiceAccess services_;
    std::unique_ptr<DamageFinder> damage_;
    AddinSession addin_;
};

// RunScenario and RunSoak (scenario_run.h) with such a player. A soak has the product in this
// process and looks at the trace files and at what is left besides.
bool RunScenario(const PlayerOptions& options, const std::vector<ScenarioEvent>& events,
                 std::ostream& out);
bool RunSoak(const PlayerOptions& options, const SoakOptions& soak, std::ostream& out);

}  // namespace sandbox::demo
