#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "sandbox/demo/scenario/event.h"
#include "sandbox/demo/scenario/event_rows.h"
#include "sandbox/demo/scenario/mail_shelf.h"
#include "sandbox/demo/scenario/scenario_product.h"
#include "sandbox/outlook/mapi_subsystem.h"
#include "sandbox/outlook/object_model/host_outlook.h"

namespace sandbox::demo {

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

// Plays events in a stand-in Outlook. How the add-in is loaded, which product it has, and how the
// outcome of an event is known, is the deriving class's: the add-in may be part of this program or
// a library that Outlook finds as it finds any. Used on one thread.
class EventPlayer {
public:
    virtual ~EventPlayer();
    EventPlayer(const EventPlayer&) = delete;
    EventPlayer& operator=(const EventPlayer&) = delete;

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

    // Whether nothing may be held after Quit.
    virtual bool MustGiveBack() const { return true; }

    // Waits that long, serving Outlook's messages if this is Outlook's thread.
    virtual void Pause(std::chrono::milliseconds time);
    // The add-in's clock goes on by that much, where it can be moved.
    virtual void Advance(std::uint32_t /*milliseconds*/) {}

    virtual EventRows& rows() = 0;
    const std::vector<std::string>& troubles() const { return troubles_; }
    int damaged() const { return damaged_; }
    MailShelf& shelf() { return shelf_; }
    Mailbox& mailbox() { return mailbox_; }
    outlook::HostOutlook& host() { return *host_; }
    outlook::MapiSubsystem& mapi() { return mapi_; }

protected:
    // Raises std::exception when there is no mail.
    EventPlayer(const std::filesystem::path& messages, const outlook::StoreTraits& store,
                const std::string& version, outlook::ThreadChoice thread);

    // Load and connect the add-in, disconnect and unload it. On Outlook's thread.
    virtual HRESULT ConnectAddin() = 0;
    virtual void DisconnectAddin() = 0;
    virtual bool IsConnected() const = 0;
    virtual ScenarioProduct& product() = 0;
    // Outlook shows its Options dialog.
    virtual void ShowOptions() { host_->OpenOptions(); }
    // Makes a message its own among those of the same mail, before it is in the store.
    virtual void Mark(outlook::MessageRecord& /*record*/) {}
    // A message that is looked at, null when it is gone, and its places that are neither as they
    // were nor as a check leaves them.
    struct Inspected {
        ScenarioMessage message;
        outlook::MessageStore::Saved now;
        std::vector<std::string> damage;
    };
    // Fills in the damage of those that are there.
    virtual void FindDamage(std::vector<Inspected>& messages) = 0;
    // An event of Outlook's thread has ended.
    virtual void OnEventEnd(const std::string& /*event*/, std::chrono::microseconds /*held*/) {}
    // Gives back what looking for damage has taken.
    virtual void EndInspection() {}

    // Gives the product the settings that a scenario begins with, and starts it.
    void StartProduct();
    void Complain(const std::string& what) { troubles_.push_back(what); }

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
    void OnOutlook(const std::string& text, const std::string& entry_id,
                   const std::function<std::string()>& body);

    outlook::MapiSubsystem mapi_;
    MailShelf shelf_;
    Mailbox mailbox_;
    plugins::product::MailPluginSettings settings_;
    std::vector<std::string> troubles_;
    int damaged_ = 0;
    const std::unique_ptr<outlook::HostOutlook> host_;
};

}  // namespace sandbox::demo
