#include "sandbox/outlook/host/life.h"

#include <windows.h>
// The order matters: they need windows.h.
#include <ole2.h>
#include <tlhelp32.h>

#include <algorithm>
#include <fstream>
#include <random>
#include <stdexcept>

#include "product/state/text_file.h"
#include "sandbox/child_process/child_process.h"
#include "sandbox/demo/scenario/parser.h"
#include "sandbox/demo/scenario/resident_memory.h"
#include "sandbox/outlook/host/addin_key.h"

namespace sandbox::host {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using Stopwatch = std::chrono::steady_clock;

constexpr milliseconds kLongestExit{500};
// Beyond all that a process of these has.
constexpr std::uintptr_t kHandlesEnd = 4096;

void Play(HostPlayer& player, const std::string& line) {
    for (const demo::ScenarioEvent& event : demo::ParseScenario(line + '\n', "life"))
        player.Play(event);
}

microseconds MedianOf(std::vector<microseconds> times) {
    if (times.empty()) return {};
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::ranges::nth_element(times, middle);
    return *middle;
}

double Milliseconds(microseconds time) { return static_cast<double>(time.count()) / 1000; }

void PrintTime(std::ostream& out, const char* what, const std::vector<microseconds>& times) {
    out << "  " << what << ": " << Milliseconds(MedianOf(times)) << " ms, longest "
        << Milliseconds(std::ranges::max(times)) << " ms\n";
}

// How long each opening of that many messages holds Outlook's thread.
std::vector<microseconds> Opened(HostPlayer& player, std::uint32_t rounds) {
    const std::string mail = player.shelf().names().front();
    Play(player, "deliver " + mail + " times " + std::to_string(rounds));
    player.rows().Clear();
    for (std::uint32_t i = 0; i != rounds; ++i) {
        Play(player, "open " + mail);
        Play(player, "close " + mail);
    }
    std::vector<microseconds> times;
    for (const demo::Row& row : player.rows().rows())
        if (row.event.starts_with("open ")) times.push_back(row.held);
    return times;
}

struct ProcessState {
    std::uint32_t handles = 0;
    std::uint32_t threads = 0;
    std::uint64_t memory = 0;
};

ProcessState StateNow() {
    ProcessState state;
    // Asked one by one: Wine does not count them.
    for (std::uintptr_t value = 4; value < kHandlesEnd; value += 4) {
        DWORD flags = 0;
        state.handles +=
            ::GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags) != FALSE ? 1 : 0;
    }
    const HANDLE threads = ::CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = ::Thread32First(threads, &entry); more; more = ::Thread32Next(threads, &entry))
        state.threads += entry.th32OwnerProcessID == ::GetCurrentProcessId();
    ::CloseHandle(threads);
    state.memory = demo::ResidentMemory();
    return state;
}

std::int64_t Ticks() {
    LARGE_INTEGER ticks;
    ::QueryPerformanceCounter(&ticks);
    return ticks.QuadPart;
}

microseconds FromTicks(std::int64_t ticks) {
    LARGE_INTEGER per_second;
    ::QueryPerformanceFrequency(&per_second);
    return microseconds(ticks * 1'000'000 / per_second.QuadPart);
}

void ConnectAtStartup(Addin& addin, HostPlayer& player) {
    if (FAILED(addin.Connect(player.application(), ConnectMode::kStartup)))
        throw std::runtime_error("an add-in does not connect");
}

// Writes to the product's key, as an installation does, what is there already.
void TouchProductKey() {
    constexpr const wchar_t* kKey = L"SOFTWARE\\QZ\\Mail Plugin";
    const DWORD tick = ::GetTickCount();
    ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, kKey, L"SandboxTouched", REG_DWORD, &tick, sizeof tick);
    ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kKey, L"SandboxTouched");
}

}  // namespace

namespace {

// What was measured of one add-in.
struct AddinTimes {
    std::wstring prog_id;
    std::vector<microseconds> connect, disconnect, unload;
    std::int64_t handles = 0;  // that the last life has left
    std::uint32_t stayed = 0;  // how often the library did not go
};

// One life of the add-in, whose library is loaded for it and goes with it.
void Measure(HostPlayer& player, AddinTimes& times) {
    const std::int64_t handles = StateNow().handles;
    const auto start = Stopwatch::now();
    Addin addin(times.prog_id);
    ConnectAtStartup(addin, player);
    const auto connected = Stopwatch::now();
    ServeMessages(milliseconds(20));
    const auto ending = Stopwatch::now();
    addin.Disconnect(DisconnectMode::kHostShutdown);
    const auto disconnected = Stopwatch::now();
    if (!UnloadLibraries(LibraryOf(times.prog_id))) ++times.stayed;
    const auto gone = Stopwatch::now();
    using std::chrono::duration_cast;
    times.connect.push_back(duration_cast<microseconds>(connected - start));
    times.disconnect.push_back(duration_cast<microseconds>(disconnected - ending));
    times.unload.push_back(duration_cast<microseconds>(gone - disconnected));
    times.handles = StateNow().handles - handles;
}

// All add-ins that are registered, and the bare one as the last. They take turns, so that they see
// the same machine.
std::vector<AddinTimes> MeasureAll(HostPlayer& player, std::uint32_t rounds) {
    std::vector<AddinTimes> all;
    for (const std::wstring& prog_id : RegisteredAddins()) all.push_back({prog_id, {}, {}, {}});
    all.push_back({kBareAddin, {}, {}, {}});
    for (std::uint32_t i = 0; i != rounds; ++i)
        for (AddinTimes& each : all) Measure(player, each);
    return all;
}

// One line; whether the median is within the goal.
bool PrintRatio(std::ostream& out, const std::string& what, milliseconds goal,
                const std::vector<microseconds>& times, const std::vector<microseconds>& bare) {
    const microseconds median = MedianOf(times);
    const microseconds floor = MedianOf(bare);
    const bool within = median <= goal;
    char text[96];
    std::snprintf(text, sizeof text, "ratio %7.2f  goal %3d ms  %-4s  ",
                  Milliseconds(median) / std::max(Milliseconds(floor), 0.001),
                  static_cast<int>(goal.count()), within ? "ok" : "OVER");
    out << text << what << " (" << Milliseconds(median) << " ms, longest "
        << Milliseconds(std::ranges::max(times)) << " ms, bare " << Milliseconds(floor) << " ms)\n";
    return within;
}

bool Print(std::ostream& out, const std::vector<AddinTimes>& all, const std::string& when,
           milliseconds connect_goal) {
    constexpr milliseconds kDisconnect{100};
    const AddinTimes& bare = all.back();
    bool within = true;
    for (std::size_t i = 0; i + 1 != all.size(); ++i) {
        const AddinTimes& times = all[i];
        within &= PrintRatio(out, "load, create and connect" + when, connect_goal, times.connect,
                             bare.connect);
        within &=
            PrintRatio(out, "disconnect" + when, kDisconnect, times.disconnect, bare.disconnect);
        PrintTime(out, "unload", times.unload);
        // Wine's runtime lets go of a peer when that has gone, and so does the library.
        if (times.stayed != 0) out << "  the library stayed " << times.stayed << " times\n";
        out << "  handles that the last of them left: " << times.handles
            << ", of the bare: " << bare.handles << '\n';
    }
    return within;
}

}  // namespace

bool PrintTimes(const HostOptions& options, std::uint32_t rounds, std::ostream& out) {
    constexpr milliseconds kConnect{100}, kConnectToSilent{500}, kOpen{5};
    std::string silent_at;
    const auto& arguments = options.product_arguments;
    if (arguments.size() == 2) silent_at = arguments.back();
    const milliseconds connect = silent_at.empty() ? kConnect : kConnectToSilent;
    HostPlayer player(options);
    const std::string mail = player.shelf().names().front();
    Play(player, "settings checkOnDelivery=false");
    bool within = Print(out, MeasureAll(player, rounds), "", connect);
    // A check that nobody ends is waited for.
    if (silent_at != "check" && silent_at != "mail-object") {
        Play(player, "deliver " + mail);
        Play(player, "open " + mail);
        within &= Print(out, MeasureAll(player, rounds), ", a message is open", connect);
        Play(player, "close " + mail);
    }
    if (options.starts_product && silent_at.empty()) {
        const std::vector<microseconds> alone = Opened(player, rounds);
        player.Connect();
        within &= PrintRatio(out, "an opened message", kOpen, Opened(player, rounds), alone);
        player.Quit();
    }
    // One that is silent may not hear that it is to stop.
    if (silent_at.empty())
        player.StopProduct();
    else
        Play(player, "product kill");
    if (!player.troubles().empty()) throw std::runtime_error(player.troubles().front());
    return within;
}

namespace {

void Print(std::ostream& out, std::uint32_t cycles, const ProcessState& state) {
    out << "after " << cycles << " cycles: " << state.handles << " handles, " << state.threads
        << " threads, " << state.memory / 1024 << " KiB\n";
}

// How many handles are lost with a library that is loaded and goes: the compiler's runtime library,
// which is linked into each, leaves some.
std::uint32_t HandlesPerLoad(HostPlayer& player) {
    constexpr std::uint32_t kLoads = 8;
    std::uint32_t first = 0;
    for (std::uint32_t i = 0; i <= kLoads; ++i) {
        Addin addin(kBareAddin);
        ConnectAtStartup(addin, player);
        addin.Disconnect(DisconnectMode::kHostShutdown);
        UnloadLibraries(LibraryOf(kBareAddin));
        if (i == 0) first = StateNow().handles;
    }
    return (StateNow().handles - first) / kLoads;
}

}  // namespace

bool RunCycles(const HostOptions& options, std::uint32_t cycles, std::ostream& out) {
    HostPlayer player(options);
    const std::string mail = player.shelf().names().front();
    const std::uint32_t settled = std::max(cycles / 10, 2u);
    ProcessState first, last;
    const std::uint32_t per_load = HandlesPerLoad(player);
    bool good = true;
    for (std::uint32_t i = 1; i <= cycles; ++i) {
        const std::size_t reported = player.outside().reported();
        player.Connect();
        Play(player, "send " + mail);
        player.outside().Collect();
        if (player.outside().reported() != reported + 1)
            out << "WRONG: cycle " << i << " has made no check\n", good = false;
        player.Quit();
        for (const auto& message : player.mailbox().messages())
            player.host().Delete(message.entry_id);
        player.mailbox().Clear();
        player.rows().Clear();
        last = StateNow();
        if (i == settled) first = last;
        if (i == settled || i == cycles || i == cycles / 2) Print(out, i, last);
    }
    player.StopProduct();
    for (const std::string& trouble : player.troubles()) out << "WRONG: " << trouble << '\n';
    // A pool's threads and their handles come and go, and their stacks count as memory.
    constexpr std::uint32_t kSome = 4;
    constexpr std::uint64_t kThreadMemory = 5 * 256 * 1024;
    const std::uint32_t the_runtimes = per_load * (cycles - std::min(settled, cycles));
    const std::uint64_t more_threads = std::max(last.threads, first.threads) - first.threads;
    out << "the runtime library loses " << per_load << " handles with each library that goes\n";
    if (last.handles > first.handles + the_runtimes + kSome ||
        last.threads > first.threads + kSome ||
        last.memory > first.memory + first.memory / 20 + more_threads * kThreadMemory)
        out << "WRONG: something grows\n", good = false;
    return good && player.troubles().empty();
}

void ExitInTheMiddle(const HostOptions& given, std::uint32_t number,
                     const std::filesystem::path& stamp) {
    HostOptions options = given;
    options.ending = Ending::kExit;
    options.starts_product = false;
    auto* const player = new HostPlayer(options);  // nothing of it comes to its end
    player->Connect();
    if (!player->troubles().empty()) throw std::runtime_error(player->troubles().front());
    const std::string mail = player->shelf().names().front();
    Play(*player, "deliver " + mail + " times 20");
    std::mt19937 random(number);
    std::uint32_t wait = static_cast<std::uint32_t>(random()) % 30;
    if (number % 3 == 1) TouchProductKey();
    ServeMessages(milliseconds(wait));
    if (number % 3 == 1) TouchProductKey();
    Play(*player, "quit");
    std::ofstream(stamp, std::ios::binary) << Ticks();
    // COM goes before the process, with all libraries that it has loaded, whatever they say.
    if (number % 3 == 2) {
        ::OleUninitialize();
        ::Sleep(wait);
    }
    ::ExitProcess(0);
}

bool RunExits(const HostOptions& options, const std::vector<std::string>& command,
              std::uint32_t exits, std::ostream& out) {
    const auto product =
        demo::MakeProductProcess({options.product, options.rules, options.product_arguments,
                                  [](auto time) { ServeMessages(time); }});
    product->Set({true, false, std::nullopt, {1, 1, 1}});
    product->Start();
    const std::filesystem::path stamp = options.out / "exit.time";
    std::vector<microseconds> times;
    std::uint32_t faults = 0;
    for (std::uint32_t i = 0; i != exits; ++i) {
        std::vector<std::string> arguments = command;
        for (const std::string& argument :
             {std::string("--exit"), std::to_string(i), std::string("--stamp"),
              reference_product::PathText(stamp)})
            arguments.push_back(argument);
        std::filesystem::remove(stamp);
        const int code = StartProgram(ProgramFolder() / "mlxo_host", arguments)->Wait();
        const std::int64_t gone = Ticks();
        if (code != 0) {
            char text[64];
            std::snprintf(text, sizeof text, "WRONG: process %u ended with 0x%08X\n", i,
                          static_cast<unsigned>(code));
            out << text;
            ++faults;
            continue;
        }
        std::int64_t began = 0;
        std::ifstream(stamp, std::ios::binary) >> began;
        times.push_back(FromTicks(gone - began));
    }
    product->Stop();
    if (!times.empty()) PrintTime(out, "a process is gone after", times);
    const bool late = !times.empty() && std::ranges::max(times) > kLongestExit;
    if (late) out << "WRONG: a process was held longer than 500 ms\n";
    out << exits << " exits, " << faults << " of them with a fault\n";
    return faults == 0 && !late;
}

}  // namespace sandbox::host
