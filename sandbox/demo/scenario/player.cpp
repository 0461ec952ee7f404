#include "sandbox/demo/scenario/player.h"

#include <stdexcept>
#include <thread>
#include <utility>

#include "mapi/property_tags.h"
#include "mlxo_version.h"
#include "product/state/text_file.h"
#include "vek/core/current_exception.h"
#include "vek/trace/file_tracer.h"

namespace sandbox::demo {
namespace {

using plugins::product::MailPluginSettings;
using plugins::product::MailSettings;

constexpr std::chrono::seconds kIdlePatience{60};

vek::trace::FileTracerConfig TraceConfig(const PlayerOptions& options,
                                         const ScenarioProduct& product) {
    vek::trace::FileTracerConfig config;
    config.folder = reference_product::PathText(options.out / "trace");
    config.name = "mlxo";
    config.version = MLXO_VERSION;
    config.level = vek::trace::level::kDetail;
    config.max_size = options.trace_bytes;
    product.SetTrace(config);
    return config;
}

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

Player::Player(PlayerOptions options)
    : options_(std::move(options)),
      shelf_(options_.messages),
      product_(options_.product.folder.empty()
                   ? MakeLocalProduct(options_.rules)
                   : MakeRemoteProduct(options_.product, options_.rules)),
      settings_{true, false, std::nullopt, {1, 1, 1}},
      trace_(TraceConfig(options_, *product_)),
      tracer_(vek::trace::OpenFileTracer(trace_)),
      services_(product_->Loader(tracer_)),
      host_(std::make_unique<outlook::HostOutlook>(mapi_, options_.version)),
      addin_(*host_, services_, clock_, tracer_, scoreboard_, options_.event_wait) {
    product_->Set(settings_);
    product_->Start();
}

Player::~Player() = default;

void Player::Connect() {
    if (const HRESULT code = addin_.Connect(); FAILED(code)) {
        char text[64];
        std::snprintf(text, sizeof text, "the add-in does not connect: 0x%08X",
                      static_cast<unsigned>(code));
        throw std::runtime_error(text);
    }
}

std::filesystem::path Player::trace_folder() const {
    return reference_product::PathOf(*trace_.folder);
}

void Player::Complain(const std::string& what) { troubles_.push_back(what); }

void Player::Play(const ScenarioEvent& event) {
    try {
        if (!event.within) return PlayNow(event);
        Plan(
            *event.within, [this, event] { PlayNow(event); }, S_OK);
    } catch (...) {
        Complain((event.line != 0 ? "line " + std::to_string(event.line) + ": " : "") + event.text +
                 ": " + vek::CurrentExceptionText());
    }
}

void Player::Plan(const NthCall& call, std::function<void()> action, HRESULT code) {
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

void Player::PlayNow(const ScenarioEvent& event) {
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
            return OnOutlook(event.text, [&] {
                host_->OpenOptions();
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
            return product_->Start();
        case EventKind::kProductStop:
            return product_->Stop();
        case EventKind::kProductKill:
            return product_->Kill();
        case EventKind::kFault:
            return Plan(*event.fault, {}, event.code);
        case EventKind::kQuit:
            return Quit();
    }
}

void Player::OnOutlook(const std::string& text, const std::function<std::string()>& body) {
    host_->Run([&] {
        const std::size_t row = scoreboard_.Begin(text);
        std::string entry_id;
        try {
            entry_id = body();
        } catch (...) {
            Complain(text + ": " + vek::CurrentExceptionText());
        }
        scoreboard_.End(row, entry_id);
    });
}

void Player::Deliver(const ScenarioEvent& event) {
    const outlook::MessageRecord& mail = shelf_.Find(event.name);
    // It has its id before anybody is told, so that it can be opened from within.
    std::string entry_id = mapi_.store().NewEntryId();
    outlook::MessageRecord record = mail;
    record.properties.Set(plugins::mapi::tag::kEntryId, outlook::PropertyValue::Binary(entry_id));
    const ScenarioMessage message = mailbox_.Add(event.name, entry_id);
    OnOutlook(Label("deliver", message), [&] { return host_->Deliver(std::move(record)); });
}

void Player::Open(const ScenarioEvent& event) {
    ScenarioMessage* const message = mailbox_.ToOpen(event.name, event.number);
    if (message == nullptr) throw std::runtime_error("no such mail was delivered");
    message->open = message->opened = true;
    std::string entry_id = message->entry_id;
    OnOutlook(Label("open", *message), [&] {
        if (!host_->Open(entry_id)) throw std::runtime_error("it is not in the store any more");
        return entry_id;
    });
}

void Player::Close(const ScenarioEvent& event) {
    ScenarioMessage* const message = mailbox_.ToClose(event.name, event.number);
    if (message == nullptr || !message->open) throw std::runtime_error("no such mail is open");
    message->open = false;
    std::string entry_id = message->entry_id;
    OnOutlook(Label("close", *message), [&] {
        host_->Close(entry_id);
        return entry_id;
    });
}

void Player::Send(const ScenarioEvent& event) {
    const outlook::MessageRecord& mail = shelf_.Find(event.name);
    const ScenarioMessage message = mailbox_.Add(event.name, {});
    const std::size_t place = mailbox_.messages().size() - 1;
    OnOutlook(Label("send", message) + (event.unsaved ? " unsaved" : ""), [&] {
        std::string entry_id = host_->Send(mail, !event.unsaved);
        mailbox_.messages()[place].entry_id = entry_id;
        if (entry_id.empty()) throw std::runtime_error("it was not sent");
        return entry_id;
    });
}

void Player::ChangeSettings(const ScenarioEvent& event) {
    for (const auto& [name, on] : event.switches) {
        if (std::uint32_t* const found = SwitchOf(settings_.userSettings, name))
            *found = on;
        else
            (name == "isPluginEnabled" ? settings_.isPluginEnabled : settings_.checkIncomingOnly) =
                on;
    }
    product_->Set(settings_);
}

void Player::ChangePolicy(const ScenarioEvent& event) {
    if (event.switches.empty()) {
        settings_.policySettings.reset();
    } else {
        MailSettings policy = settings_.policySettings.value_or(MailSettings{});
        for (const auto& [name, on] : event.switches) *SwitchOf(policy, name) = on;
        settings_.policySettings = policy;
    }
    product_->Set(settings_);
}

bool Player::WaitIdle() {
    const auto deadline = std::chrono::steady_clock::now() + kIdlePatience;
    while (!scoreboard_.IsIdle()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

void Player::Quit() {
    if (!addin_.is_connected()) return;
    OnOutlook("quit", [&] {
        host_->Quit();
        return std::string();
    });
    OnOutlook("(add-in unloaded)", [&] {
        addin_.Disconnect();
        return std::string();
    });
}

std::string Player::Subject(const std::string& entry_id) {
    const auto record = entry_id.empty() ? nullptr : mapi_.store().Find(entry_id);
    if (!record) return {};
    const auto* const value = record->properties.Find(plugins::mapi::tag::kSubjectW);
    return value != nullptr ? *value->content() : std::string();
}

void Player::Inspect(bool delete_them) {
    host_->Run([&] { host_->plan().Clear(); });
    mapi_.faults().Clear();
    if (!damage_) damage_ = std::make_unique<DamageFinder>(mapi_, options_.rules);
    for (const Row& row : scoreboard_.rows())
        if (auto* const message = row.entry_id.empty() ? nullptr : mailbox_.WithId(row.entry_id))
            message->checks += row.checks;
    for (const ScenarioMessage& message : mailbox_.messages()) {
        if (message.entry_id.empty()) continue;  // it was not sent
        const auto record = mapi_.store().Find(message.entry_id);
        std::vector<std::string> places{"it is gone"};
        if (record)
            places =
                damage_->Find(message.mail, shelf_.Find(message.mail), *record, message.checks);
        if (!places.empty()) {
            ++damaged_;
            Complain(
                Label("damaged:", message) + ": " + places.front() +
                (places.size() > 1 ? " and " + std::to_string(places.size() - 1) + " more" : ""));
        }
        if (delete_them) host_->Delete(message.entry_id);
    }
    if (delete_them) mailbox_.Clear();
}

void Player::StopProduct() {
    try {
        product_->Stop();
    } catch (...) {
        Complain(vek::CurrentExceptionText());
    }
}

Leftovers Player::leftovers() {
    // It has initialised MAPI as well.
    damage_.reset();
    host_->Run([&] {
        for (const ScenarioMessage& message : mailbox_.messages()) host_->Close(message.entry_id);
    });
    return {host_->live_items(),          host_->live_connections(), mapi_.live_objects(),
            mapi_.memory().LiveBuffers(), mapi_.memory().BadFrees(), mapi_.foreign_calls(),
            mapi_.outliving_objects(),    mapi_.initializations()};
}

}  // namespace sandbox::demo
