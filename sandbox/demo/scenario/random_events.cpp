#include "sandbox/demo/scenario/random_events.h"

#include <array>

namespace sandbox::demo {
namespace {

constexpr std::array<std::int32_t, 5> kFailures = {E_FAIL, E_OUTOFMEMORY, MAPI_E_NOT_FOUND,
                                                   MAPI_E_NO_ACCESS, MAPI_E_CALL_FAILED};

std::string TextOf(const ScenarioEvent& event) {
    switch (event.kind) {
        case EventKind::kDeliver:
            return "deliver " + event.name;
        case EventKind::kOpen:
            return "open " + event.name;
        case EventKind::kClose:
            return "close " + event.name;
        case EventKind::kSend:
            return "send " + event.name;
        default:
            return "event";
    }
}

}  // namespace

NthCall RandomEvents::AnyCall() {
    const std::uint32_t nth = 1 + Below(4);
    if (OneIn(2)) return {static_cast<outlook::ObjectCall>(Below(outlook::kObjectCallKinds)), nth};
    return {static_cast<outlook::Call>(Below(outlook::kCallKinds)), nth};
}

ScenarioEvent RandomEvents::OfOutlook(Mailbox& mailbox) {
    ScenarioEvent event;
    const auto& messages = mailbox.messages();
    const std::uint32_t what = Below(10);
    if (messages.empty() || what < 4) {
        event.kind = EventKind::kDeliver;
        event.name = mails_[Below(static_cast<std::uint32_t>(mails_.size()))];
    } else if (what < 6) {
        event.kind = EventKind::kSend;
        event.name = mails_[Below(static_cast<std::uint32_t>(mails_.size()))];
        event.unsaved = OneIn(2);
    } else if (what == 9 && OneIn(4)) {
        event.kind = EventKind::kOptions;
    } else {
        // Sent ones are read in their folder.
        const auto& message = messages[Below(static_cast<std::uint32_t>(messages.size()))];
        event.kind = message.open ? EventKind::kClose : EventKind::kOpen;
        event.name = message.mail;
        event.number = message.number;
        if (message.entry_id.empty()) event.kind = EventKind::kOptions;
    }
    return event;
}

ScenarioEvent RandomEvents::Next(Mailbox& mailbox) {
    ScenarioEvent event;
    if (down_for_ > 0 && --down_for_ == 0) {
        event.kind = EventKind::kProductStart;
    } else if (OneIn(60) && down_for_ == 0) {
        event.kind = OneIn(2) ? EventKind::kProductStop : EventKind::kProductKill;
        down_for_ = 1 + static_cast<int>(Below(20));
    } else if (OneIn(5)) {
        event.kind = EventKind::kFault;
        event.fault = AnyCall();
        event.code = kFailures[Below(kFailures.size())];
    } else if (OneIn(25)) {
        event.kind = EventKind::kSettings;
        constexpr std::array kNames = {"isPluginEnabled", "checkIncomingOnly", "checkOnDelivery",
                                       "checkOnRead", "checkOnSend"};
        // Mostly on: what is off is quickly played.
        for (const char* const name : kNames)
            event.switches.emplace_back(
                name, OneIn(6) == (std::string_view(name) == "checkIncomingOnly"));
    } else if (OneIn(40)) {
        event.kind = EventKind::kPolicy;
        if (OneIn(2))
            event.switches = {{"checkOnDelivery", !OneIn(4)},
                              {"checkOnRead", !OneIn(4)},
                              {"checkOnSend", !OneIn(4)}};
    } else {
        event = OfOutlook(mailbox);
        if (OneIn(5) && event.kind != EventKind::kClose) event.within = AnyCall();
    }
    event.text = TextOf(event);
    return event;
}

}  // namespace sandbox::demo
