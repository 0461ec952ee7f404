#include "sandbox/demo/scenario/event_player.h"

#include <cstdio>
#include <stdexcept>
#include <thread>
#include <utility>

#include "mapi/property_tags.h"
#include "vek/core/current_exception.h"

namespace sandbox::demo {
namespace {

using plugins::product::MailSettings;

constexpr std::chrono::seconds kIdlePatience{60};

std::uint32_t* SwitchOf(MailSettings& settings, std::string_view name) {
    if (name == "checkOnDelivery") return &settings.checkOnDelivery;
    if (name == "checkOnRead") return &settings.checkOnRead;
    return name == "checkOnSend" ? &settings.checkOnSend : nullptr;
}

std::string Label(const char* what, const ScenarioMessage& message) {
    return std::string(what) + ' ' + message.mail + '#' + std::to_string(message.number);
}

}  // namespace

bool Leftovers::none() const {
    return items == 0 && connections == 0 && mapi_objects == 0 && mapi_buffers == 0 &&
           bad_frees == 0 && foreign_calls == 0 && outliving_objects == 0 && initializations == 0;
}

EventPlayer::EventPlayer(const std::filesystem::path& messages, const outlook::StoreTraits& store,
                         const std::string& version, outlook::ThreadChoice thread)
    : mapi_(store),
      shelf_(messages),
      settings_{true, false, std::nullopt, {1, 1, 1}},
      host_(std::make_unique<outlook::HostOutlook>(mapi_, version, thread)) {}

EventPlayer::~EventPlayer() = default;

void EventPlayer::StartProduct() {
    product().Set(settings_);
    product().Start();
}

void EventPlayer::Connect() {
    if (const HRESULT code = ConnectAddin(); FAILED(code)) {
        char text[64];
        std::snprintf(text, sizeof text, "the add-in does not connect: 0x%08X",
                      static_cast<unsigned>(code));
        throw std::runtime_error(text);
    }
}

void EventPlayer::Pause(std::chrono::milliseconds time) { std::this_thread::sleep_for(time); }

void EventPlayer::Play(const ScenarioEvent& event) {
    try {
        if (!event.within) return PlayNow(event);
        Plan(
            *event.within, [this, event] { PlayNow(event); }, S_OK);
    } catch (...) {
        Complain((event.line != 0 ? "line " + std::to_string(event.line) + ": " : "") + event.text +
                 ": " + vek::CurrentExceptionText());
    }
}

void EventPlayer::Plan(const NthCall& call, std::function<void()> action, HRESULT code) {
    host_->Run([&] {
        if (const auto* const kind = std::get_if<outlook::ObjectCall>(&call.call)) {
            if (action)
                host_->plan().RunAtNth(*kind, call.nth, std::move(action));
            else
                host_->plan().FailNth(*kind, call.nth, code);
            return;
        }
        const auto kind = std::get<outlook::Call>(call.call);
        if (!action) return mapi_.faults().FailNth(kind, call.nth, code);
        // Outlook raises nothing on another thread.
        mapi_.faults().RunAtNth(kind, call.nth, [this, action = std::move(action)] {
            if (host_->IsOutlookThread()) action();
        });
    });
}

void EventPlayer::PlayNow(const ScenarioEvent& event) {
    switch (event.kind) {
        case EventKind::kDeliver:
            for (int i = 0; i < event.times; ++i) Deliver(event);
            return;
        case EventKind::kOpen:
            return Open(event);
        case EventKind::kClose:
            return Close(event);
        case EventKind::kSend:
            return Send(event);
        case EventKind::kOptions:
            return OnOutlook(event.text, {}, [&] {
                ShowOptions();
                return std::string();
            });
        case EventKind::kWaitIdle:
            if (!WaitIdle()) Complain("the queue did not become empty");
            return;
        case EventKind::kSettings:
            return ChangeSettings(event);
        case EventKind::kPolicy:
            return ChangePolicy(event);
        case EventKind::kProductStart:
            return product().Start();
        case EventKind::kProductStop:
            return product().Stop();
        case EventKind::kProductKill:
            return product().Kill();
        case EventKind::kFault:
            return Plan(*event.fault, {}, event.code);
        case EventKind::kQuit:
            return Quit();
    }
}

void EventPlayer::OnOutlook(const std::string& text, const std::string& entry_id,
                            const std::function<std::string()>& body) {
    host_->Run([&] {
        const auto start = std::chrono::steady_clock::now();
        const std::size_t row = rows().Begin(text, entry_id);
        std::string its_id;
        try {
            its_id = body();
        } catch (...) {
            Complain(text + ": " + vek::CurrentExceptionText());
        }
        const auto held = std::chrono::steady_clock::now() - start;
        rows().End(row, its_id);
        OnEventEnd(text, std::chrono::duration_cast<std::chrono::microseconds>(held));
    });
}

void EventPlayer::Deliver(const ScenarioEvent& event) {
    const outlook::MessageRecord& mail = shelf_.Find(event.name);
    // It has its id before anybody is told, so that it can be opened from within.
    std::string entry_id = mapi_.store().NewEntryId();
    outlook::MessageRecord record = mail;
    record.properties.Set(plugins::mapi::tag::kEntryId, outlook::PropertyValue::Binary(entry_id));
    Mark(record);
    const ScenarioMessage message = mailbox_.Add(event.name, entry_id);
    OnOutlook(Label("deliver", message), entry_id,
              [&] { return host_->Deliver(std::move(record)); });
}

void EventPlayer::Open(const ScenarioEvent& event) {
    ScenarioMessage* const message = mailbox_.ToOpen(event.name, event.number);
    if (message == nullptr) throw std::runtime_error("no such mail was delivered");
    message->open = message->opened = true;
    std::string entry_id = message->entry_id;
    OnOutlook(Label("open", *message), entry_id, [&] {
        if (!host_->Open(entry_id)) throw std::runtime_error("it is not in the store any more");
        return entry_id;
    });
}

void EventPlayer::Close(const ScenarioEvent& event) {
    ScenarioMessage* const message = mailbox_.ToClose(event.name, event.number);
    if (message == nullptr || !message->open) throw std::runtime_error("no such mail is open");
    message->open = false;
    std::string entry_id = message->entry_id;
    OnOutlook(Label("close", *message), entry_id, [&] {
        host_->Close(entry_id);
        return entry_id;
    });
}

void EventPlayer::Send(const ScenarioEvent& event) {
    outlook::MessageRecord mail = shelf_.Find(event.name);
    Mark(mail);
    const ScenarioMessage message = mailbox_.Add(event.name, {});
    const std::size_t place = mailbox_.messages().size() - 1;
    OnOutlook(Label("send", message) + (event.unsaved ? " unsaved" : ""), {}, [&] {
        std::string entry_id = host_->Send(std::move(mail), !event.unsaved);
        mailbox_.messages()[place].entry_id = entry_id;
        if (entry_id.empty()) throw std::runtime_error("it was not sent");
        return entry_id;
    });
}

void EventPlayer::ChangeSettings(const ScenarioEvent& event) {
    for (const auto& [name, on] : event.switches) {
        if (std::uint32_t* const found = SwitchOf(settings_.userSettings, name))
            *found = on;
        else
            (name == "isPluginEnabled" ? settings_.isPluginEnabled : settings_.checkIncomingOnly) =
                on;
    }
    product().Set(settings_);
}

void EventPlayer::ChangePolicy(const ScenarioEvent& event) {
    if (event.switches.empty()) {
        settings_.policySettings.reset();
    } else {
        MailSettings policy = settings_.policySettings.value_or(MailSettings{});
        for (const auto& [name, on] : event.switches) *SwitchOf(policy, name) = on;
        settings_.policySettings = policy;
    }
    product().Set(settings_);
}

bool EventPlayer::WaitIdle() {
    const auto deadline = std::chrono::steady_clock::now() + kIdlePatience;
    while (!rows().IsIdle()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        Pause(std::chrono::milliseconds(1));
    }
    return true;
}

void EventPlayer::Quit() {
    if (!IsConnected()) return;
    OnOutlook("quit", {}, [&] {
        host_->Quit();
        return std::string();
    });
    OnOutlook("(add-in unloaded)", {}, [&] {
        DisconnectAddin();
        return std::string();
    });
}

std::string EventPlayer::Subject(const std::string& entry_id) {
    const auto record = entry_id.empty() ? nullptr : mapi_.store().Find(entry_id);
    if (!record) return {};
    const auto* const value = record->properties.Find(plugins::mapi::tag::kSubjectW);
    return value != nullptr ? *value->content() : std::string();
}

void EventPlayer::Inspect(bool delete_them) {
    host_->Run([&] { host_->plan().Clear(); });
    mapi_.faults().Clear();
    for (const Row& row : rows().rows())
        if (auto* const message = row.entry_id.empty() ? nullptr : mailbox_.WithId(row.entry_id))
            message->checks += row.checks + row.cut_off;
    std::vector<Inspected> there;
    for (const ScenarioMessage& message : mailbox_.messages()) {
        if (message.entry_id.empty()) continue;  // it was not sent
        there.push_back({message, mapi_.store().Find(message.entry_id), {}});
        if (!there.back().now) there.back().damage = {"it is gone"};
    }
    FindDamage(there);
    for (const Inspected& each : there) {
        if (!each.damage.empty()) {
            ++damaged_;
            Complain(Label("damaged:", each.message) + ": " + each.damage.front() +
                     (each.damage.size() > 1
                          ? " and " + std::to_string(each.damage.size() - 1) + " more"
                          : ""));
        }
        if (delete_them) host_->Delete(each.message.entry_id);
    }
    if (delete_them) mailbox_.Clear();
}

void EventPlayer::StopProduct() {
    try {
        product().Stop();
    } catch (...) {
        Complain(vek::CurrentExceptionText());
    }
}

Leftovers EventPlayer::leftovers() {
    EndInspection();
    host_->Run([&] {
        for (const ScenarioMessage& message : mailbox_.messages()) host_->Close(message.entry_id);
        OnEventEnd({}, {});
    });
    return {host_->live_items(),          host_->live_connections(), mapi_.live_objects(),
            mapi_.memory().LiveBuffers(), mapi_.memory().BadFrees(), mapi_.foreign_calls(),
            mapi_.outliving_objects(),    mapi_.initializations()};
}

}  // namespace sandbox::demo
