#include "product/clamd/clamd_exchange.h"

#include <algorithm>
#include <utility>

#include "product/foreign_text.h"
#include "vek/platform/ansi_text.h"

namespace reference_product {
namespace {

constexpr std::chrono::seconds kToConnect{2};  // to one address; as long again to find its number
constexpr std::size_t kMostEndpoints = 4;      // of one address
constexpr std::size_t kMostPieces = 2;         // that wait to be sent

// The context's thread sees to deadlines; should it be late, nobody waits for it.
constexpr std::chrono::milliseconds kGrace{500};

std::string TextOf(const asio::error_code& error) {
    return CleanText(vek::platform::AnsiToUtf8(error.message()));
}

}  // namespace

ClamdExchange::ClamdExchange(ClamdRoad road, Clock::time_point deadline, StreamLimit::Slot slot,
                             Done done)
    : road_(road),
      deadline_(deadline),
      slot_(std::move(slot)),
      done_(std::move(done)),
      whole_(road.io),
      attempt_(road.io) {}

void ClamdExchange::Start() {
    asio::post(road_.io, [self = shared_from_this()] {
        self->order_ = self->road_.pool.Order();
        self->whole_.expires_at(self->deadline_);
        self->whole_.async_wait([self](Error error) {
            if (!error) self->Late();
        });
        self->NextAddress();
    });
}

bool ClamdExchange::Send(Bytes bytes, bool last) {
    {
        std::unique_lock guard(lock_);
        const auto has_room = [this] { return end_ || pieces_.size() < kMostPieces; };
        if (!last && !changed_.wait_until(guard, deadline_ + kGrace, has_room)) return false;
        if (end_) return false;
        pieces_.push_back({std::move(bytes), last});
    }
    asio::post(road_.io, [self = shared_from_this()] { self->Write(); });
    return true;
}

bool ClamdExchange::HasEnded() {
    const std::lock_guard guard(lock_);
    return end_.has_value();
}

ExchangeEnd ClamdExchange::Wait() {
    std::unique_lock guard(lock_);
    if (changed_.wait_until(guard, deadline_ + kGrace, [this] { return end_.has_value(); }))
        return *end_;
    guard.unlock();
    GiveUp();
    return {};
}

void ClamdExchange::GiveUp() {
    if (HasEnded()) return;
    asio::post(road_.io, [self = shared_from_this()] {
        self->End(ExchangeEnd::Kind::kLate, "was given up");
    });
}

void ClamdExchange::NextAddress() {
    while (tried_ != order_.size() && !road_.pool.MayBeTried(order_[tried_])) ++tried_;
    if (tried_ == order_.size()) return End(ExchangeEnd::Kind::kFailed, road_.pool.Trouble());
    ++tried_;
    const EngineAddress& address = road_.pool.address(number());
    if (!address.path.empty()) {
        const auto endpoint = UnixEndpoint(address.path);
        if (!endpoint) return Unreachable("this system has no Unix sockets");
        endpoints_ = {*endpoint};
        per_endpoint_ = kToConnect;
        return NextEndpoint();
    }
    LimitAttempt(kToConnect);
    road_.names.Find(address.host, [self = shared_from_this(), generation = generation_](
                                       const auto& addresses, const std::string& trouble) {
        if (generation == self->generation_) self->FoundHost(addresses, trouble);
    });
}

void ClamdExchange::FoundHost(const HostNames::Addresses& addresses, const std::string& trouble) {
    if (addresses.empty()) return Unreachable(CleanText(trouble));
    endpoints_.clear();
    for (const asio::ip::address& address : addresses)
        if (endpoints_.size() != kMostEndpoints)
            endpoints_.push_back(
                asio::ip::tcp::endpoint(address, road_.pool.address(number()).port));
    per_endpoint_ = kToConnect / endpoints_.size();
    std::ranges::reverse(endpoints_);
    NextEndpoint();
}

void ClamdExchange::NextEndpoint() {
    peer_ = endpoints_.back();
    endpoints_.pop_back();
    socket_ = std::make_shared<ClamdProtocol::socket>(road_.io);
    Error error = OpenUninherited(*socket_, peer_.protocol());
    if (error) return Unreachable(TextOf(error));
    LimitAttempt(per_endpoint_);
    const auto connected = [self = shared_from_this(), socket = socket_,
                            generation = generation_](Error failure) {
        if (generation != self->generation_) return;
        // A Unix socket whose queue is full is neither connected nor says so.
        if (!failure) socket->remote_endpoint(failure);
        failure ? self->Unreachable(TextOf(failure)) : self->Connected();
    };
    socket_->async_connect(peer_, connected);
}

// The attempt at work ends with its failure or with the limit.
void ClamdExchange::LimitAttempt(Clock::duration limit) {
    ++generation_;
    attempt_.expires_after(limit);
    attempt_.async_wait([self = shared_from_this(), generation = generation_](Error error) {
        if (!error && generation == self->generation_) self->Unreachable("no answer in time");
    });
}

void ClamdExchange::Unreachable(std::string_view why) {
    ++generation_;
    LetGo();
    if (!endpoints_.empty()) return NextEndpoint();
    road_.pool.CouldNotBeReached(number(), std::string(why));
    NextAddress();
}

void ClamdExchange::Connected() {
    ++generation_;
    attempt_.cancel();
    connected_ = true;
    Error ignored;  // a Unix socket has no such option
    socket_->set_option(asio::ip::tcp::no_delay(true), ignored);
    Read();
    Write();
}

void ClamdExchange::Write() {
    if (!connected_ || writing_ || write_failed_) return;
    {
        const std::lock_guard guard(lock_);
        if (pieces_.empty() || end_) return;
        written_ = std::move(pieces_.front().bytes);
        sent_ = pieces_.front().last;
        pieces_.pop_front();
    }
    changed_.notify_all();
    writing_ = true;
    asio::async_write(*socket_, asio::buffer(written_),
                      [self = shared_from_this(), socket = socket_](Error error, std::size_t) {
                          self->writing_ = false;
                          // What the daemon has said before it closed is still to be read.
                          self->write_failed_ = static_cast<bool>(error);
                          self->Write();
                      });
}

void ClamdExchange::Read() {
    socket_->async_read_some(asio::buffer(answer_) + received_,
                             [self = shared_from_this(), socket = socket_](
                                 Error error, std::size_t size) { self->Received(error, size); });
}

void ClamdExchange::Received(Error error, std::size_t size) {
    if (HasEnded()) return;
    received_ += size;
    const std::string_view all(answer_.data(), received_);
    const std::size_t end = all.find('\0');
    const auto nonsense = [&](const char* what) { Failed(what + (": \"" + CleanText(all) + '"')); };
    if (end != all.npos && end + 1 != all.size()) return nonsense("gave more than one answer");
    if (end != all.npos) return End(ExchangeEnd::Kind::kAnswered, std::string(all.substr(0, end)));
    if (received_ == answer_.size()) return nonsense("answers without end");
    if (!error) return Read();
    if (received_ != 0) return nonsense("broke off its answer");
    Failed("closed the connection without an answer (" + TextOf(error) + ')');
}

// The daemon is to blame, so that others are tried before it.
void ClamdExchange::Failed(std::string_view what) {
    road_.pool.FailedLater(number());
    End(ExchangeEnd::Kind::kFailed, road_.pool.Daemon(number()) + ' ' + std::string(what));
}

void ClamdExchange::Late() {
    if (HasEnded()) return;
    if (connected_ && !writing_ && !sent_)
        return End(ExchangeEnd::Kind::kLate, "the content was not read to its end");
    const std::string daemon = road_.pool.Daemon(number());
    road_.pool.FailedLater(number());
    if (!connected_) return End(ExchangeEnd::Kind::kLate, daemon + " could not be reached");
    End(ExchangeEnd::Kind::kLate,
        daemon + (writing_ ? " did not take the content" : " did not answer"));
}

// Cancelled operations come back in each system; of a socket that is closed before, some do not.
// With the last of them it is closed.
void ClamdExchange::LetGo() {
    if (!socket_) return;
    Error ignored;
    socket_->shutdown(asio::socket_base::shutdown_both, ignored);
    socket_->cancel(ignored);
    socket_.reset();
}

void ClamdExchange::End(ExchangeEnd::Kind kind, std::string text) {
    {
        const std::lock_guard guard(lock_);
        if (end_) return;
        end_ = ExchangeEnd{kind, std::move(text),
                           connected_ ? road_.pool.Daemon(number()) : "clamd", peer_, sent_};
        pieces_.clear();
    }
    ++generation_;
    LetGo();
    whole_.cancel();
    attempt_.cancel();
    slot_.reset();
    changed_.notify_all();
    if (done_) std::exchange(done_, nullptr)(*end_);
}

}  // namespace reference_product
