#include "sandbox/demo/scenario/parser.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <span>

#include "product/state/text_file.h"

namespace sandbox::demo {
namespace {

using Milliseconds = std::chrono::milliseconds;

using outlook::Call;

// MAPI's: those that a check makes most.
constexpr std::array<std::pair<std::string_view, Call>, 13> kMapiCalls = {{
    {"MAPIInitialize", Call::kInitialize},
    {"MAPILogonEx", Call::kLogonEx},
    {"IMAPISession.OpenEntry", Call::kOpenEntry},
    {"IMAPIProp.GetProps", Call::kGetProps},
    {"IMAPIProp.SetProps", Call::kSetProps},
    {"IMAPIProp.OpenProperty", Call::kOpenProperty},
    {"IMAPIProp.SaveChanges", Call::kSaveChanges},
    {"IMessage.GetAttachmentTable", Call::kGetAttachmentTable},
    {"IMessage.GetRecipientTable", Call::kGetRecipientTable},
    {"IMessage.OpenAttach", Call::kOpenAttach},
    {"IStream.Read", Call::kStreamRead},
    {"IStream.Write", Call::kStreamWrite},
    {"HrQueryAllRows", Call::kQueryAllRows},
}};

// The call that people write as "MailItem.Save" (object_call.h) or, of MAPI, "IMessage.GetProps".
std::optional<HostCall> HostCallOf(std::string_view name) {
    if (const auto call = outlook::ObjectCallOf(name)) return HostCall(*call);
    const auto found =
        std::ranges::find(kMapiCalls, name, &std::pair<std::string_view, Call>::first);
    if (found == kMapiCalls.end()) return std::nullopt;
    return HostCall(found->second);
}

// Raises for a line; `text` says what is wrong with it.
[[noreturn]] void Refuse(const std::string& text) { throw ScenarioError(text); }

std::string Quoted(std::string_view word) { return '\'' + std::string(word) + '\''; }

template <class Number>
std::optional<Number> ToNumber(std::string_view text, int base = 10) {
    Number number{};
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number, base);
    if (error != std::errc() || rest != end) return std::nullopt;
    return number;
}

// The words of one line, taken from its beginning.
class Words {
public:
    explicit Words(std::string_view line) : left_(line) { Skip(); }

    bool empty() const { return left_.empty(); }
    // The rest of the line.
    std::string_view rest() const { return left_; }

    std::string_view Take() {
        const std::string_view word = Peek();
        left_.remove_prefix(word.size());
        Skip();
        return word;
    }
    // `what` is missing when there is none.
    std::string_view Take(std::string_view what) {
        if (empty()) Refuse(std::string(what) + " is missing");
        return Take();
    }
    bool TakeIf(std::string_view word) {
        if (Peek() != word) return false;
        Take();
        return true;
    }

private:
    static constexpr std::string_view kBlanks = " \t\r";

    std::string_view Peek() const { return left_.substr(0, left_.find_first_of(kBlanks)); }
    void Skip() {
        left_.remove_prefix(std::min(left_.find_first_not_of(kBlanks), left_.size()));
        while (!left_.empty() && kBlanks.find(left_.back()) != kBlanks.npos) left_.remove_suffix(1);
    }

    std::string_view left_;
};

Milliseconds TakeTime(Words& words) {
    const std::string_view word = words.Take("the time");
    const std::size_t unit = std::min(word.find_first_not_of("0123456789"), word.size());
    const auto number = ToNumber<std::uint32_t>(word.substr(0, unit));
    if (number && word.substr(unit) == "ms") return Milliseconds(*number);
    if (number && word.substr(unit) == "s") return std::chrono::seconds(*number);
    Refuse(Quoted(word) + " is no time; 250ms or 2s is one");
}

// Which one of several, from 1.
std::uint32_t TakeCount(Words& words, std::string_view what) {
    const std::string_view word = words.Take(what);
    const auto number = ToNumber<std::uint32_t>(word);
    constexpr std::uint32_t kMax = 100'000;
    if (!number || *number == 0 || *number > kMax)
        Refuse(std::string(what) + " is from 1 to 100000, not " + Quoted(word));
    return *number;
}

NthCall TakeCall(Words& words) {
    const std::string_view name = words.Take("the call");
    const auto call = HostCallOf(name);
    if (!call) Refuse("there is no call " + Quoted(name));
    return {*call, TakeCount(words, "the call's number")};
}

void TakeName(Words& words, ScenarioEvent& event) {
    const std::string_view word = words.Take("the mail's name");
    const std::size_t mark = word.rfind('#');
    event.name = word.substr(0, mark);
    if (event.name.empty()) Refuse("the mail's name is missing");
    if (mark == word.npos) return;
    Words number(word.substr(mark + 1));
    event.number = static_cast<int>(TakeCount(number, "the number after #"));
}

void TakeSwitches(Words& words, std::span<const std::string_view> names, ScenarioEvent& event) {
    do {
        const std::string_view word = words.Take("NAME=true or NAME=false");
        const std::size_t equals = word.find('=');
        const std::string_view name = word.substr(0, equals);
        if (std::ranges::find(names, name) == names.end())
            Refuse("there is no switch " + Quoted(name));
        const std::string_view value = equals == word.npos ? "" : word.substr(equals + 1);
        if (value != "true" && value != "false") Refuse(std::string(name) + " is true or false");
        event.switches.emplace_back(name, value == "true");
    } while (!words.empty());
}

constexpr std::array<std::string_view, 5> kSwitches = {
    "checkOnDelivery", "checkOnRead", "checkOnSend", "isPluginEnabled", "checkIncomingOnly"};
// The switches of a policy.
constexpr std::span<const std::string_view> kPolicySwitches(kSwitches.data(), 3);

void TakeProduct(Words& words, ScenarioEvent& event) {
    const std::string_view what = words.Take("start, stop or kill");
    if (what == "start")
        event.kind = EventKind::kProductStart;
    else if (what == "stop")
        event.kind = EventKind::kProductStop;
    else if (what == "kill")
        event.kind = EventKind::kProductKill;
    else
        Refuse("a product can start, stop or be killed (kill), not " + Quoted(what));
}

void TakeFault(Words& words, ScenarioEvent& event) {
    event.kind = EventKind::kFault;
    event.fault = TakeCall(words);
    std::string_view word = words.Take("the fault's code");
    const auto code =
        word.starts_with("0x") ? ToNumber<std::uint32_t>(word.substr(2), 16) : std::nullopt;
    if (!code || static_cast<std::int32_t>(*code) >= 0)
        Refuse(Quoted(word) + " is no failure; 0x80004005 is one");
    event.code = static_cast<std::int32_t>(*code);
}

void TakeEvent(Words& words, ScenarioEvent& event) {
    const std::string_view what = words.Take("the event");
    if (what == "deliver") {
        event.kind = EventKind::kDeliver;
        TakeName(words, event);
        if (words.TakeIf("times"))
            event.times = static_cast<int>(TakeCount(words, "the number of times"));
    } else if (what == "open" || what == "close") {
        event.kind = what == "open" ? EventKind::kOpen : EventKind::kClose;
        TakeName(words, event);
    } else if (what == "send") {
        event.kind = EventKind::kSend;
        TakeName(words, event);
        event.unsaved = words.TakeIf("unsaved");
    } else if (what == "options") {
        event.kind = EventKind::kOptions;
    } else if (what == "wait") {
        event.kind = EventKind::kWaitIdle;
        if (!words.TakeIf("idle")) Refuse("what can be waited for is: wait idle");
    } else if (what == "settings") {
        event.kind = EventKind::kSettings;
        TakeSwitches(words, kSwitches, event);
    } else if (what == "policy") {
        event.kind = EventKind::kPolicy;
        if (!words.TakeIf("none")) TakeSwitches(words, kPolicySwitches, event);
    } else if (what == "product") {
        TakeProduct(words, event);
    } else if (what == "fault") {
        TakeFault(words, event);
    } else if (what == "quit") {
        event.kind = EventKind::kQuit;
    } else {
        Refuse("there is no event " + Quoted(what));
    }
    const bool named = event.kind == EventKind::kDeliver || event.kind == EventKind::kSend;
    if (named && event.number != 0) Refuse("# is for a mail that was delivered before");
    if (!words.empty()) Refuse(Quoted(words.rest()) + " is too much");
}

ScenarioEvent ParseLine(std::string_view line) {
    Words words(line);
    ScenarioEvent event;
    if (words.TakeIf("at"))
        event.at = TakeTime(words);
    else if (words.TakeIf("after"))
        event.after = TakeTime(words);
    event.text = words.rest();
    if (words.TakeIf("within")) event.within = TakeCall(words);
    TakeEvent(words, event);
    constexpr std::array kOutlooks = {EventKind::kDeliver, EventKind::kOpen, EventKind::kClose,
                                      EventKind::kSend, EventKind::kOptions};
    if (event.within && std::ranges::find(kOutlooks, event.kind) == kOutlooks.end())
        Refuse("within a call only deliver, open, close, send and options can happen");
    return event;
}

}  // namespace

std::vector<ScenarioEvent> ParseScenario(std::string_view text, const std::string& name) {
    std::vector<ScenarioEvent> events;
    std::string errors;
    const auto complain = [&](int line, const std::string& what) {
        errors += (errors.empty() ? "" : "\n") + name + ':' + std::to_string(line) + ": " + what;
    };
    Milliseconds last{};
    int quit = 0;
    for (int number = 1; !text.empty(); ++number) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        // A # within a word is a mail's number.
        for (std::size_t mark = line.find('#'); mark != line.npos; mark = line.find('#', mark + 1))
            if (mark == 0 || line[mark - 1] == ' ' || line[mark - 1] == '\t')
                line = line.substr(0, mark);
        if (Words(line).empty()) continue;
        try {
            ScenarioEvent event = ParseLine(line);
            event.line = number;
            if (quit != 0) Refuse("Outlook has quit in line " + std::to_string(quit));
            if (event.at && *event.at < last) Refuse("its time is before that of a line above");
            if (event.at) last = *event.at;
            if (event.kind == EventKind::kQuit) quit = number;
            events.push_back(std::move(event));
        } catch (const ScenarioError& error) {
            complain(number, error.what());
        }
    }
    if (!errors.empty()) throw ScenarioError(errors);
    if (events.empty()) throw ScenarioError(name + ": there is no event in it");
    return events;
}

std::vector<ScenarioEvent> LoadScenario(const std::filesystem::path& path) {
    std::optional<std::string> text;
    try {
        text = reference_product::ReadTextFile(path);
    } catch (const std::runtime_error& error) {
        throw ScenarioError(error.what());
    }
    const std::string name = reference_product::PathText(path);
    if (!text) throw ScenarioError(name + ": there is no such file");
    return ParseScenario(*text, name);
}

}  // namespace sandbox::demo
