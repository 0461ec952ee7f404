// The other process of transport_test: listens at, or connects to, the endpoint that it is given.
//   transport_peer listen:42
//   transport_peer connect:42

#include <cstdlib>
#include <thread>

#include "tests/remote/transport_ends.h"

int main(int, char** arguments) {
    const std::string_view argument = arguments[1];
    const char* const id = arguments[1] + argument.find(':') + 1;
    const remote::Endpoint endpoint{static_cast<std::uint32_t>(std::strtoul(id, nullptr, 10)), 0};

    std::shared_ptr<remote::Transport> transport;
    // A request may be here before the connection is known to whom it was made for.
    std::atomic<bool> connected{argument.starts_with("listen")};
    const auto handler = std::make_shared<tests::TextHandler>([&](const std::string& text) {
        if (text == "hang") std::this_thread::sleep_for(std::chrono::hours(1));
        if (text.starts_with("back ") && tests::WaitUntil([&] { return connected.load(); }))
            return tests::Ask(*transport, std::string_view(text).substr(5));
        return text;
    });
    std::unique_ptr<remote::Listener> listener;
    if (argument.starts_with("listen")) {
        const auto accept = tests::Keep(transport, handler);
        if (vek::Failed(remote::Listen(endpoint, accept, {}, listener))) return 1;
    } else if (vek::Failed(remote::ConnectTransport(endpoint, handler, {}, transport))) {
        return 2;
    }
    connected = true;
    return handler->Closed() != vek::result::kOk ? 0 : 3;
}
