// Measures a call to another process, over the transport and of an object by its proxy, against a
// bare call of the same interface definition. Prints a ratio for each size; the exit code is 1 when
// one is over its budget. Then measures reading in pieces of several sizes.
// The time is that of the clock: the runtime's threads and the system's work count.

#include <rpc.h>
#include <windows.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "bare_call.h"
#include "bench/echo.h"
#include "bench/echo_handler.h"
#include "remote/rpc/binding_win32.h"
#include "remote/rpc/call_win32.h"
#include "remote/transport.h"
#include "vek/core/function_ref.h"
#include "vek/platform/handle_win32.h"

namespace {

constexpr double kBudget = 1.1;
constexpr std::size_t kRepetitions = 15;

// The bytes that a packet adds to the call's data.
constexpr std::size_t kHead = 20;

remote::Endpoint EndpointOf(unsigned long parent, std::uint32_t which) {
    return {static_cast<std::uint32_t>(parent) + (which << 24), 0};
}

// The other end of the transport's calls.
int Serve(unsigned long parent) {
    std::shared_ptr<remote::Transport> transport;
    std::unique_ptr<remote::Listener> listener;
    auto handler = std::make_shared<bench::EchoHandler>();
    const auto accept = [&](std::shared_ptr<remote::Transport> made) {
        transport = std::move(made);
        return handler;
    };
    if (vek::Failed(remote::Listen(EndpointOf(parent, 1), accept, {}, listener))) return 2;
    bench::Serve(EndpointOf(parent, 3), bench::EchoFactories(),
                 vek::MakeObject<bench::EchoService>());
    const vek::platform::UniqueHandle process(::OpenProcess(SYNCHRONIZE, FALSE, parent));
    ::WaitForSingleObject(process.get(), INFINITE);
    return 0;
}

// A program beside this one; it ends with this one.
void Start(const std::filesystem::path& program, const std::string& arguments) {
    std::string line;
    line.append("\"").append(program.string()).append("\" ");
    line.append(std::to_string(::GetCurrentProcessId())).append(" ").append(arguments);
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION information{};
    if (::CreateProcessA(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                         &startup, &information) != FALSE) {
        ::CloseHandle(information.hThread);
        ::CloseHandle(information.hProcess);
    }
}

bool WaitFor(vek::FunctionRef<bool()> ready) {
    for (int i = 0; i < 500; ++i) {
        if (ready()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
}

double SecondsOf(int calls, vek::FunctionRef<bool()> call) {
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < calls; ++i) {
        if (!call()) {
            std::printf("a call failed\n");
            std::exit(2);
        }
    }
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
    return time.count() / calls;
}

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

bool BareCall(const remote::RpcBinding& binding, const std::vector<std::byte>& packet) {
    byte* reply = nullptr;
    unsigned long size = 0;
    const RPC_STATUS status = remote::Guarded([&] {
        ::CallEcho(binding.get(), 0, 0, static_cast<unsigned long>(packet.size()),
                   reinterpret_cast<const byte*>(packet.data()), &size, &reply);
    });
    const bool whole = status == RPC_S_OK && size == packet.size();
    std::free(reply);
    return whole;
}

bool TransportCall(remote::Transport& transport, remote::bytes_t data) {
    const std::array<remote::bytes_t, 1> pieces{data};
    remote::RpcProtocolProcessorOut request;
    request.SetCallIdentification(1, 0);
    request.SetCallData(pieces);
    remote::RpcProtocolProcessorIn reply;
    return vek::Succeeded(transport.SendReceive(request, reply)) &&
           reply.GetCallData().size() == data.size();
}

bool RemoteCall(bench::IEcho& echo, remote::bytes_t data, std::span<std::byte> same) {
    std::uint32_t count = 0;
    return vek::Succeeded(echo.Echo(data, same, count)) && count == data.size();
}

// Prints what it takes to read much in pieces of one size and another.
void TimeReading(bench::IEcho& echo) {
    constexpr std::array<std::size_t, 5> kPieces{std::size_t{64} << 10, std::size_t{128} << 10,
                                                 std::size_t{256} << 10, std::size_t{512} << 10,
                                                 std::size_t{1} << 20};
    constexpr std::size_t kWhole = std::size_t{10} << 20;
    std::vector<std::byte> buffer(kPieces.back());
    std::array<std::vector<double>, kPieces.size()> seconds;
    for (std::size_t i = 0; i < kRepetitions; ++i) {
        for (std::size_t piece = 0; piece < kPieces.size(); ++piece) {
            const auto read = [&] {
                std::uint32_t count = 0;
                return vek::Succeeded(echo.Fill(std::span(buffer).first(kPieces[piece]), count));
            };
            const auto calls = static_cast<int>(kWhole / kPieces[piece]);
            seconds[piece].push_back(SecondsOf(calls, read) * calls);
        }
    }
    for (std::size_t piece = 0; piece < kPieces.size(); ++piece) {
        std::printf("10 MiB in pieces of %u KiB: %.0f us\n",
                    static_cast<unsigned>(kPieces[piece] >> 10), Median(seconds[piece]) * 1e6);
    }
}

// Whether it is within its budget.
bool PrintRatio(const char* what, std::size_t size, double operation, double floor) {
    const double ratio = operation / floor;
    std::printf(
        "ratio %6.2f  budget %5.2f  %-4s  %s of %u B to a bare RPC call (%.0f us to %.0f us)\n",
        ratio, kBudget, ratio <= kBudget ? "ok" : "OVER", what, static_cast<unsigned>(size),
        operation * 1e6, floor * 1e6);
    return ratio <= kBudget;
}

}  // namespace

extern "C" {

void* __RPC_USER midl_user_allocate(std::size_t size) { return std::malloc(size); }
void __RPC_USER midl_user_free(void* bytes) { std::free(bytes); }
// The other end's.
LONG StubEcho(handle_t, MIDL_uhyper, ULONG, ULONG, const byte*, ULONG*, byte**) { return -1; }

}  // extern "C"

int main(int count, char** arguments) {
    if (count > 1) return Serve(std::strtoul(arguments[1], nullptr, 10));

    const unsigned long self = ::GetCurrentProcessId();
    const std::filesystem::path program(arguments[0]);
    Start(program, "");
    Start(program.parent_path() / "rpc_echo.exe", remote::EndpointName(EndpointOf(self, 2)));
    std::shared_ptr<remote::Transport> transport;
    remote::RpcBinding bare;
    remote::RpcBinding::To(EndpointOf(self, 2), bare);
    const std::vector<std::byte> nothing(1);
    if (!WaitFor([&] {
            return vek::Succeeded(remote::ConnectTransport(EndpointOf(self, 1), {}, {}, transport));
        }) ||
        !WaitFor([&] { return BareCall(bare, nothing); })) {
        std::printf("the other processes do not answer\n");
        return 2;
    }
    const bench::Client client(EndpointOf(self, 3), bench::EchoFactories());
    const auto echo = client.Service<bench::IEcho>();
    if (!echo) {
        std::printf("the remote object is not there\n");
        return 2;
    }

    bool within = true;
    for (const std::size_t size : {64u, 4096u, 1u << 20}) {
        const std::vector<std::byte> data(size);
        const std::vector<std::byte> packet(size + kHead);
        const int calls = size > 4096 ? 3 : 200;
        std::vector<double> floor;
        std::vector<double> operation;
        std::vector<double> remote_call;
        std::vector<std::byte> same(size);
        for (std::size_t i = 0; i < kRepetitions; ++i) {  // in turns: both see the same machine
            floor.push_back(SecondsOf(calls, [&] { return BareCall(bare, packet); }));
            operation.push_back(SecondsOf(calls, [&] { return TransportCall(*transport, data); }));
            remote_call.push_back(SecondsOf(calls, [&] { return RemoteCall(*echo, data, same); }));
        }
        const double bare_seconds = Median(floor);
        within = PrintRatio("transport call", size, Median(operation), bare_seconds) && within;
        within = PrintRatio("remote call", size, Median(remote_call), bare_seconds) && within;
    }
    TimeReading(*echo);
    return within ? 0 : 1;
}
