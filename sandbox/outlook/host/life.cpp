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

void PrintTime(std::ostream& out, const char* what, const std::vector<microseconds>& times) {
    out << "  " << what << ": " << static_cast<double>(MedianOf(times).count()) / 1000
        << " ms, longest " << static_cast<double>(std::ranges::max(times).count()) / 1000
        << " ms\n";
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

void PrintTimes(const HostOptions& options, std::uint32_t rounds, std::ostream& out) {
    HostPlayer player(options);
    std::vector<std::wstring> addins = RegisteredAddins();
    addins.emplace_back(kBareAddin);
    for (const std::wstring& prog_id : addins) {
        if (LibraryOf(prog_id).empty()) continue;
        std::vector<microseconds> connect, disconnect;
        std::int64_t first = 0;
        for (std::uint32_t i = 0; i != rounds; ++i) {
            const auto start = Stopwatch::now();
            Addin addin(prog_id);
            ConnectAtStartup(addin, player);
            const auto connected = Stopwatch::now();
            ServeMessages(milliseconds(20));
            const auto ending = Stopwatch::now();
            addin.Disconnect(DisconnectMode::kHostShutdown);
            UnloadLibraries(LibraryOf(prog_id));
            connect.push_back(std::chrono::duration_cast<microseconds>(connected - start));
            disconnect.push_back(
                std::chrono::duration_cast<microseconds>(Stopwatch::now() - ending));
            if (i == 0) first = StateNow().handles;
        }
        out << std::string(prog_id.begin(), prog_id.end()) << '\n';
        PrintTime(out, "load, create and connect", connect);
        PrintTime(out, "disconnect and unload", disconnect);
        out << "  handles more after the rounds than after the first: "
            << static_cast<std::int64_t>(StateNow().handles) - first << '\n';
    }
    Play(player, "settings checkOnDelivery=false");
    out << "an opened message\n";
    PrintTime(out, "without add-ins", Opened(player, rounds));
    player.Connect();
    PrintTime(out, "with those that are registered", Opened(player, rounds));
    player.Quit();
    player.StopProduct();
}

namespace {

void Print(std::ostream& out, std::uint32_t cycles, const ProcessState& state) {
    out << "after " << cycles << " cycles: " << state.handles << " handles, " << state.threads
        << " threads, " << state.memory / 1024 << " KiB\n";
}

// How many handles the system loses with a library that is loaded and goes: Wine does.
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
    // A pool's threads and their handles come and go. With each add-in goes the library that it
    // loads of the product.
    constexpr std::uint32_t kSome = 4;
    const std::uint32_t the_systems = 2 * per_load * (cycles - std::min(settled, cycles));
    out << "the system loses " << per_load << " handles with each library that goes\n";
    if (last.handles > first.handles + the_systems + kSome ||
        last.threads > first.threads + kSome || last.memory > first.memory + first.memory / 20)
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
