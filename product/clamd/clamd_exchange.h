#pragma once

// One command to clamd and its answer, over a connection of its own.

#include <array>
#include <asio.hpp>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "product/clamd/address_pool.h"
#include "product/clamd/clamd_answer.h"
#include "product/clamd/clamd_socket.h"
#include "product/clamd/host_names.h"
#include "product/clamd/stream_limit.h"

namespace reference_product {

using Bytes = std::vector<std::byte>;

// What the exchanges of one engine share. The context runs in one thread, which alone uses the
// rest.
struct ClamdRoad {
    asio::io_context& io;
    AddressPool& pool;
    HostNames& names;
};

// How an exchange went.
struct ExchangeEnd {
    enum class Kind { kAnswered, kFailed, kLate };

    Kind kind = Kind::kLate;
    std::string text;                // the answer as it came, or why there is none
    std::string daemon = "clamd";    // who answered, for texts
    ClamdProtocol::endpoint peer{};  // who answered
    bool sent = false;               // all had been sent when the answer came
};

// Connects to the first address that it can, sends what it is given and reads an answer, until its
// deadline. Any thread may call it; its work is done in the road's context.
class ClamdExchange : public std::enable_shared_from_this<ClamdExchange> {
public:
    using Clock = std::chrono::steady_clock;
    // Is called once in the context, when the exchange has ended and its connection is closed.
    using Done = std::function<void(const ExchangeEnd&)>;

    // The road must outlive the exchange. `slot`, which may be null, is given back at the end.
    ClamdExchange(ClamdRoad road, Clock::time_point deadline, StreamLimit::Slot slot, Done done);

    void Start();
    // Gives bytes to be sent, the last ones with `last`. Unless they are, it waits while much is
    // on its way. False when the exchange has ended.
    bool Send(Bytes bytes, bool last);
    bool HasEnded();
    // Waits for the end.
    ExchangeEnd Wait();
    // Ends it as late, if it has not ended.
    void GiveUp();

private:
    using Error = asio::error_code;
    using Endpoints = std::vector<ClamdProtocol::endpoint>;

    // Each of these runs in the context.
    void NextAddress();
    void FoundHost(const HostNames::Addresses& addresses, const std::string& trouble);
    void NextEndpoint();
    void Connected();
    void Unreachable(std::string_view why);
    void LimitAttempt(Clock::duration limit);
    void Write();
    void Read();
    void Received(Error error, std::size_t size);
    void Failed(std::string_view what);
    void LetGo();
    void Late();
    void End(ExchangeEnd::Kind kind, std::string text);
    std::size_t number() const { return order_[tried_ - 1]; }  // of the address at work

    const ClamdRoad road_;
    const Clock::time_point deadline_;
    StreamLimit::Slot slot_;
    Done done_;
    // Of the connection at work. What waits in it shares it.
    std::shared_ptr<ClamdProtocol::socket> socket_;
    asio::steady_timer whole_;    // the deadline
    asio::steady_timer attempt_;  // the limit of finding or connecting to one endpoint
    std::vector<std::size_t> order_;
    std::size_t tried_ = 0;         // of these
    Endpoints endpoints_;           // of the address at work, those left last first
    ClamdProtocol::endpoint peer_;  // the one at work
    Clock::duration per_endpoint_{};
    unsigned generation_ = 0;  // of attempts; what belongs to an earlier one comes too late
    bool connected_ = false;
    bool writing_ = false;
    bool write_failed_ = false;
    Bytes written_;
    bool sent_ = false;  // the last bytes have been handed to the system
    std::array<char, kLongestAnswer> answer_;
    std::size_t received_ = 0;

    std::mutex lock_;  // guards what follows
    std::condition_variable changed_;
    struct Piece {
        Bytes bytes;
        bool last;
    };
    std::deque<Piece> pieces_;
    std::optional<ExchangeEnd> end_;
};

}  // namespace reference_product
