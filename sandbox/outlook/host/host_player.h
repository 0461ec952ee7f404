#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "sandbox/demo/scenario/event_player.h"
#include "sandbox/outlook/host/addin.h"
#include "sandbox/outlook/host/outside_rows.h"
#include "sandbox/outlook/host/resiliency.h"

namespace sandbox::host {

// How an add-in comes to its end.
enum class Ending {
    kNotified,  // OnBeginShutdown and OnDisconnection, where an administrator has turned them on
    kExit,      // Outlook since 2010: Quit is all that comes, then the process exits
    kUnticked,  // the user takes it away in the list of add-ins, while Outlook goes on
};

struct HostOptions {
    std::filesystem::path messages;  // the folder of the manifest and its message files
    std::filesystem::path out;       // gets the messages in "after", as they are in the end
    std::filesystem::path rules;
    std::filesystem::path product;  // its folder, where its reports are; a service's private one
    std::string version = "15";     // Outlook's
    std::string store = "usual";    // of store_traits.h
    Ending ending = Ending::kNotified;
    // For the product's first start; without any program it is another process's to start and stop.
    std::vector<std::string> product_arguments;
    std::vector<std::string> each_product_arguments;  // for every start
    bool starts_product = true;
    bool is_service = false;  // an installed one, for whose start arguments are nothing
};

// The installed service as a scenario's product: started and stopped by the service control
// manager, killed in its scanner, which the service itself starts again. `data` is its common data
// folder. `pause` waits, and serves messages meanwhile. Raises std::runtime_error when none is
// installed.
std::unique_ptr<demo::ScenarioProduct> MakeServiceProduct(
    std::filesystem::path data, std::function<void(std::chrono::milliseconds)> pause);

// Plays events in an Outlook whose add-ins are those that are registered, and what it has no part
// in: the add-in's library talks to the product's process. The thread that makes it is Outlook's,
// with a message loop.
class HostPlayer final : public demo::EventPlayer {
public:
    explicit HostPlayer(HostOptions options);
    ~HostPlayer() override;

    void Pause(std::chrono::milliseconds time) override { ServeMessages(time); }
    demo::EventRows& rows() override { return rows_; }

    ApplicationObject& application() { return *application_; }
    OutsideRows& outside() { return rows_; }

    // Prints how the add-ins would fare with Outlook, and their LoadBehavior.
    // Returns whether they are to be loaded at the next start, too.
    bool PrintAddins(std::ostream& out);

private:
    class WatchedProduct;

    void LetAddinsGo();
    // The user ticks what he has unticked.
    static void TickAgain();

    HRESULT ConnectAddin() override;
    void DisconnectAddin() override;
    bool IsConnected() const override { return connected_; }
    demo::ScenarioProduct& product() override;
    void ShowOptions() override;
    void Mark(outlook::MessageRecord& record) override { times_.Mark(record); }
    void FindDamage(std::vector<Inspected>& messages) override;
    void OnEventEnd(const std::string& event, std::chrono::microseconds held) override;
    bool MustGiveBack() const override { return options_.ending != Ending::kExit; }

    const HostOptions options_;
    SubmitTimes times_;
    OutsideRows rows_;
    std::unique_ptr<WatchedProduct> product_;
    const std::shared_ptr<ItemObjects> items_;
    vek::RefPtr<ApplicationObject> application_;
    std::vector<std::unique_ptr<Addin>> addins_;
    bool connected_ = false;
    bool has_quit_ = false;
    Resiliency resiliency_;
};

}  // namespace sandbox::host
