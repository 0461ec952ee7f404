#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "sandbox/outlook/call.h"
#include "sandbox/outlook/object_model/object_call.h"

namespace sandbox::demo {

enum class EventKind : std::uint8_t {
    kDeliver,
    kOpen,
    kClose,
    kSend,
    kOptions,
    kWaitIdle,
    kSettings,
    kPolicy,
    kProductStart,
    kProductStop,
    kProductKill,
    kFault,
    kQuit,
};

// A call that the add-in makes of Outlook: of its object model or of MAPI.
using HostCall = std::variant<outlook::ObjectCall, outlook::Call>;

// The nth call of a kind from now on, counted from 1.
struct NthCall {
    HostCall call;
    std::uint32_t nth = 1;
};

// One line of a scenario, as scenario.md describes them.
struct ScenarioEvent {
    int line = 0;
    std::string text;  // without its time

    // When it is played: since the scenario's beginning or since the event before ended; at once
    // without either.
    std::optional<std::chrono::milliseconds> at;
    std::optional<std::chrono::milliseconds> after;
    // Played within that call instead, whenever it is made.
    std::optional<NthCall> within;

    EventKind kind = EventKind::kWaitIdle;
    std::string name;  // of a mail
    int times = 1;
    int number = 0;  // which of the mails of that name, from 1; 0 for the next one
    bool unsaved = false;
    // Switches by their names in the product's settings. Without any a policy ends.
    std::vector<std::pair<std::string, bool>> switches;
    std::optional<NthCall> fault;
    std::int32_t code = 0;  // the fault's HRESULT
};

}  // namespace sandbox::demo
