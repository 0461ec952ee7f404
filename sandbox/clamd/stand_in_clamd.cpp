#include "sandbox/clamd/stand_in_clamd.h"

#include <algorithm>
#include <array>
#include <asio.hpp>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

#include "product/clamd/clamd_socket.h"

namespace sandbox {
namespace clamd {

using Protocol = asio::generic::stream_protocol;
using Acceptor = asio::basic_socket_acceptor<Protocol>;
using After = ClamdBehaviour::After;

constexpr std::size_t kLongestCommand = 100;

// What the connections tell of themselves.
struct Notes {
    mutable std::mutex lock;  // guards what follows
    ClamdBehaviour behaviour;
    std::vector<std::string> contents;
    std::size_t connections = 0;
    std::size_t at_once = 0;
    std::size_t most_at_once = 0;
    std::size_t breaches = 0;
};

class Connection : public std::enable_shared_from_this<Connection> {
public:
    Connection(Protocol::socket socket, Notes& notes)
        : socket_(std::move(socket)), timer_(socket_.get_executor()), notes_(notes) {
        const std::lock_guard guard(notes_.lock);
        ++notes_.connections;
        behaviour_ = notes_.behaviour;
    }
    ~Connection() { Left(); }

    void Read() {
        socket_.async_read_some(
            asio::buffer(buffer_),
            [self = shared_from_this()](asio::error_code error, std::size_t size) {
                self->unread_.append(self->buffer_.data(), size);
                if (error) return self->Close();
                if (self->Take()) self->Read();
            });
    }
    void Close() {
        asio::error_code ignored;
        socket_.close(ignored);
        Left();
    }

private:
    // Whether more is wanted.
    bool Take() {
        if (!is_content_) {
            const std::size_t end = unread_.find('\0');
            if (end == unread_.npos)
                return unread_.size() <= kLongestCommand || Answer("UNKNOWN COMMAND");
            const std::string command = unread_.substr(0, end);
            unread_.erase(0, end + 1);
            if (command == "zPING") return Answer("PONG");
            if (command == "zVERSION") return Answer(behaviour_.version);
            if (command != "zINSTREAM") return Answer("UNKNOWN COMMAND");
            Came();
        }
        for (;;) {
            const std::size_t some = std::min<std::size_t>(chunk_, unread_.size());
            content_.append(unread_, 0, some);
            unread_.erase(0, some);
            chunk_ -= static_cast<std::uint32_t>(some);
            if (behaviour_.after != After::kVerdict && content_.size() >= behaviour_.bytes)
                return Misbehave();
            if (chunk_ != 0 || unread_.size() < 4) return true;
            for (int i = 0; i != 4; ++i)
                chunk_ =
                    chunk_ << 8 | static_cast<unsigned char>(unread_[static_cast<std::size_t>(i)]);
            unread_.erase(0, 4);
            if (chunk_ == 0) return Judge();
            if (chunk_ > behaviour_.stream_max_length - content_.size())
                return Answer("INSTREAM size limit exceeded. ERROR");
        }
    }

    bool Misbehave() {
        if (behaviour_.after == After::kAnswer) return Send(behaviour_.answer);
        if (behaviour_.after == After::kEnd) Close();
        return false;
    }

    bool Judge() {
        const bool infected = content_.find(StandInClamd::kVirus) != content_.npos;
        {
            const std::lock_guard guard(notes_.lock);
            notes_.contents.push_back(std::move(content_));
            if (!unread_.empty()) ++notes_.breaches;
        }
        std::string verdict = "stream: OK";
        if (infected) verdict = std::string("stream: ") + StandInClamd::kVirusName + " FOUND";
        verdict += '\0';
        if (!behaviour_.answer.empty()) verdict = behaviour_.answer;
        timer_.expires_after(behaviour_.verdict_takes);
        timer_.async_wait([self = shared_from_this(), verdict](asio::error_code error) {
            if (!error) self->Send(verdict);
        });
        return false;
    }

    bool Answer(std::string text) {
        if (text == "UNKNOWN COMMAND") {
            const std::lock_guard guard(notes_.lock);
            ++notes_.breaches;
        }
        return Send(text += '\0');
    }

    bool Send(std::string bytes) {
        sent_ = std::move(bytes);
        asio::async_write(
            socket_, asio::buffer(sent_),
            [self = shared_from_this()](asio::error_code, std::size_t) { self->Close(); });
        return false;
    }

    void Came() {
        is_content_ = true;
        const std::lock_guard guard(notes_.lock);
        notes_.most_at_once = std::max(notes_.most_at_once, ++notes_.at_once);
    }
    void Left() {
        if (!std::exchange(is_content_, false)) return;
        const std::lock_guard guard(notes_.lock);
        --notes_.at_once;
    }

    Protocol::socket socket_;
    asio::steady_timer timer_;
    Notes& notes_;
    ClamdBehaviour behaviour_;
    std::array<char, 16 * 1024> buffer_;
    std::string unread_;
    bool is_content_ = false;
    std::uint32_t chunk_ = 0;  // what is left of it
    std::string content_;
    std::string sent_;
};

}  // namespace clamd

using namespace clamd;

class StandInClamd::Daemon {
public:
    Daemon(const Protocol::endpoint& endpoint, std::string path, bool deaf)
        : path_(std::move(path)), acceptor_(io_, endpoint.protocol()) {
        acceptor_.set_option(asio::socket_base::reuse_address(path_.empty()));
        acceptor_.bind(endpoint);
        acceptor_.listen(deaf ? 0 : asio::socket_base::max_listen_connections);
        // So many fill the queue.
        for (int i = 0; deaf && i != 4; ++i) {
            waiting_.emplace_back(io_).open(endpoint.protocol());
            waiting_.back().async_connect(acceptor_.local_endpoint(), [](asio::error_code) {});
        }
        if (!deaf) Accept();
        thread_ = std::thread([this] {
            const auto work = asio::make_work_guard(io_);
            io_.run();
        });
    }
    ~Daemon() {
        io_.stop();
        thread_.join();
    }
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    unsigned short port() const {
        asio::ip::tcp::endpoint endpoint;
        const Protocol::endpoint local = acceptor_.local_endpoint();
        std::memcpy(endpoint.data(), local.data(), local.size());
        return endpoint.port();
    }

    const std::string path_;
    Notes notes_;

private:
    void Accept() {
        acceptor_.async_accept([this](asio::error_code error, Protocol::socket socket) {
            if (error) return;
            connections_.push_back(std::make_shared<Connection>(std::move(socket), notes_));
            connections_.back()->Read();
            Accept();
        });
    }

    asio::io_context io_;
    Acceptor acceptor_;
    std::deque<Protocol::socket> waiting_;
    std::deque<std::shared_ptr<Connection>> connections_;  // silent ones are kept open
    std::thread thread_;
};

StandInClamd::StandInClamd(unsigned short port, bool deaf)
    : daemon_(std::make_unique<Daemon>(
          asio::ip::tcp::endpoint(asio::ip::address_v4::loopback(), port), "", deaf)) {}

StandInClamd::StandInClamd(const std::string& path)
    : daemon_(
          std::make_unique<Daemon>(reference_product::UnixEndpoint(path).value(), path, false)) {}

StandInClamd::~StandInClamd() = default;

std::string StandInClamd::address() const {
    return daemon_->path_.empty() ? "tcp:127.0.0.1:" + std::to_string(port())
                                  : "unix:" + daemon_->path_;
}

unsigned short StandInClamd::port() const { return daemon_->port(); }

void StandInClamd::Behave(ClamdBehaviour behaviour) {
    const std::lock_guard guard(daemon_->notes_.lock);
    daemon_->notes_.behaviour = std::move(behaviour);
}

std::vector<std::string> StandInClamd::contents() const {
    const std::lock_guard guard(daemon_->notes_.lock);
    return daemon_->notes_.contents;
}

std::size_t StandInClamd::connections() const {
    const std::lock_guard guard(daemon_->notes_.lock);
    return daemon_->notes_.connections;
}

std::size_t StandInClamd::most_at_once() const {
    const std::lock_guard guard(daemon_->notes_.lock);
    return daemon_->notes_.most_at_once;
}

std::size_t StandInClamd::breaches() const {
    const std::lock_guard guard(daemon_->notes_.lock);
    return daemon_->notes_.breaches;
}

}  // namespace sandbox
