#include "sandbox/demo/scenario/silence.h"

#include <algorithm>
#include <stdexcept>
#include <thread>

#include "sandbox/demo/scenario/parser.h"

namespace sandbox::demo {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::chrono::seconds kReturnPatience{20};

// One player and what its events took.
class Trial {
public:
    explicit Trial(const PlayerOptions& options)
        : player_(options), mail_(player_.shelf().names().front()) {}

    // Without the add-in, so that nobody is told.
    void FillStore() { Play("deliver " + mail_ + " times 50"); }

    void Measure(const std::string& event) {
        if (event == "connect") Play("open " + mail_);
        player_.clock().Advance(1000);  // the settings are asked for once a second
        player_.scoreboard().Clear();
        const auto start = steady_clock::now();
        if (event == "connect") {
            player_.Connect();
        } else if (event == "quit") {
            player_.Quit();
        } else {
            Play(event == "options" ? event : event + ' ' + mail_);
        }
        microseconds held = std::chrono::duration_cast<microseconds>(steady_clock::now() - start);
        // What the stand-in does on its own threads is no time of Outlook's.
        if (const auto rows = player_.scoreboard().rows(); !rows.empty()) {
            held = {};
            for (const Row& row : rows) held += row.held;
        }
        times_.push_back({event, held});
    }

    void Connect() { player_.Connect(); }
    void Play(const std::string& line) {
        for (const ScenarioEvent& event : ParseScenario(line + '\n', "silence"))
            player_.Play(event);
    }
    const std::string& mail() const { return mail_; }
    Player& player() { return player_; }

    void ComeBack() {
        const auto start = steady_clock::now();
        Play("product kill");
        Play("product start");
        while (!IsChecked()) {
            if (steady_clock::now() - start > kReturnPatience)
                throw std::runtime_error("no mail is checked any more");
            std::this_thread::sleep_for(milliseconds(20));
        }
        times_.push_back(
            {"back", std::chrono::duration_cast<microseconds>(steady_clock::now() - start)});
    }

    std::vector<HeldTime> times() const { return times_; }

private:
    bool IsChecked() {
        player_.clock().Advance(1000);
        player_.scoreboard().Clear();
        Play("send " + mail_);
        const auto rows = player_.scoreboard().rows();
        return std::any_of(rows.begin(), rows.end(),
                           [](const Row& row) { return row.is_checked(); });
    }

    Player player_;
    const std::string mail_;
    std::vector<HeldTime> times_;
};

}  // namespace

std::vector<HeldTime> MeasureSilence(const PlayerOptions& options, const std::string& first) {
    Trial trial(options);
    trial.FillStore();
    if (first != "connect") trial.Connect();
    if (first == "quit") {
        trial.Play("deliver " + trial.mail());
        // The background comes to the step, or the loader's thread does.
        std::this_thread::sleep_for(options.product.times.retry_pause + milliseconds(50));
    }
    trial.Measure(first);
    if (first == "quit") return trial.times();
    // Until the loader has tried again.
    std::this_thread::sleep_for(2 * options.product.times.retry_pause);
    for (const char* const event : kSilentEvents)
        if (event != first && event != std::string("connect") && event != std::string("quit"))
            trial.Measure(event);
    trial.ComeBack();
    trial.player().Quit();
    return trial.times();
}

}  // namespace sandbox::demo
