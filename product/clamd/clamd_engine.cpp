#include "product/clamd/clamd_engine.h"

#include <algorithm>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "product/clamd/clamd_exchange.h"

namespace reference_product {
namespace {

using std::chrono::steady_clock;

constexpr std::size_t kFrame = 64 * 1024;  // bytes of content that are sent at once
constexpr std::chrono::seconds kToAnswerVersion{5};
constexpr std::chrono::seconds kBetweenVersions{60};
constexpr std::chrono::seconds kAfterTrouble{5};
constexpr std::chrono::seconds kAfterFailure{1};

void Append(Bytes& bytes, std::string_view text) {
    for (const char letter : text) bytes.push_back(static_cast<std::byte>(letter));
}

void PutBigEndian(std::uint32_t number, std::byte* bytes) {
    for (int shift = 24; shift >= 0; shift -= 8) *bytes++ = static_cast<std::byte>(number >> shift);
}

std::string SecondsText(std::chrono::milliseconds time) {
    return std::to_string(std::chrono::ceil<std::chrono::seconds>(time).count()) + " s";
}

class ClamdEngine;

// The contents of one message.
class ClamdMail final : public MailContents {
public:
    ClamdMail(ClamdEngine& engine, std::string account);

    std::unique_ptr<ContentCheck> Begin() override;

private:
    friend class ClamdCheck;

    ClamdEngine& engine_;
    const std::string account_;
    const steady_clock::time_point deadline_;
    std::size_t unfinished_ = 0;  // contents that are still fed
};

// One content: its bytes become the protocol's chunks.
class ClamdCheck final : public ContentCheck {
public:
    // Without an exchange it is not checked for the reason `limit`, else this is what is over
    // when its deadline is.
    ClamdCheck(ClamdMail& mail, std::shared_ptr<ClamdExchange> exchange, std::string limit)
        : mail_(mail), exchange_(std::move(exchange)), limit_(std::move(limit)) {
        Append(frame_, std::string_view("zINSTREAM\0", 10));
        BeginChunk();
        ++mail_.unfinished_;
    }
    ~ClamdCheck() override {
        if (!finished_) --mail_.unfinished_;
        try {
            if (exchange_) exchange_->GiveUp();
        } catch (const std::bad_alloc&) {  // it ends by its deadline
        }
    }
    ClamdCheck(const ClamdCheck&) = delete;
    ClamdCheck& operator=(const ClamdCheck&) = delete;

    bool Feed(std::span<const std::byte> piece) override {
        if (!exchange_ || exchange_->HasEnded()) return false;
        while (!piece.empty()) {
            const auto part = piece.first(std::min(piece.size(), kFrame - chunk_size()));
            frame_.insert(frame_.end(), part.begin(), part.end());
            piece = piece.subspan(part.size());
            if (chunk_size() != kFrame) break;
            EndChunk();
            Bytes full = std::exchange(frame_, {});
            BeginChunk();
            if (!exchange_->Send(std::move(full), false)) return false;
        }
        return true;
    }

    void Finish() override {
        if (std::exchange(finished_, true)) return;
        --mail_.unfinished_;
        // A chunk of no bytes ends the content.
        if (chunk_size() != 0) {
            EndChunk();
            BeginChunk();
        }
        EndChunk();
        if (exchange_) exchange_->Send(std::exchange(frame_, {}), true);
    }

    ContentVerdict Verdict() override {
        ContentVerdict verdict;
        if (!exchange_) {
            verdict.text = limit_;
            return verdict;
        }
        ExchangeEnd end = exchange_->Wait();
        if (end.kind == ExchangeEnd::Kind::kAnswered) {
            Remember(end);
            return ReadVerdict(end.text, end.sent, end.daemon);
        }
        verdict.text = end.text.empty() ? "clamd did not answer" : std::move(end.text);
        if (end.kind == ExchangeEnd::Kind::kLate) verdict.text += " within " + limit_;
        return verdict;
    }

private:
    void Remember(const ExchangeEnd& end) const;
    std::size_t chunk_size() const { return frame_.size() - chunk_begin_ - 4; }
    void BeginChunk() {
        chunk_begin_ = frame_.size();
        frame_.resize(frame_.size() + 4);
    }
    void EndChunk() {
        PutBigEndian(static_cast<std::uint32_t>(chunk_size()), frame_.data() + chunk_begin_);
    }

    ClamdMail& mail_;
    const std::shared_ptr<ClamdExchange> exchange_;
    const std::string limit_;
    bool finished_ = false;
    Bytes frame_;                  // ends with the chunk that is being filled
    std::size_t chunk_begin_ = 0;  // its length's place
};

class ClamdEngine final : public AccountsEngine {
public:
    ClamdEngine(ClamdOptions options, Log log, vek::platform::Clock& clock)
        : options_(std::move(options)),
          log_(std::move(log)),
          limit_(options_.streams),
          pool_(options_.addresses, clock),
          names_(io_, clock),
          ask_(io_),
          work_(io_.get_executor()) {
        state_.trouble = "clamd has not answered yet";
        asio::post(io_, [this] { Ask(); });
        thread_ = std::thread([this] { Run(); });
    }
    // The messages are done, and so are their streams or about to be: what is closed is let go of
    // before the thread ends.
    ~ClamdEngine() override {
        try {
            asio::post(io_, [this] {
                closing_ = true;
                ask_.cancel();
                if (const auto question = question_.lock()) question->GiveUp();
                work_.reset();
            });
        } catch (const std::bad_alloc&) {
            io_.stop();
        }
        thread_.join();
    }
    ClamdEngine(const ClamdEngine&) = delete;
    ClamdEngine& operator=(const ClamdEngine&) = delete;

    std::unique_ptr<MailContents> BeginMailOf(std::string account) override {
        return std::make_unique<ClamdMail>(*this, std::move(account));
    }
    EngineState State() const override {
        const std::lock_guard guard(lock_);
        return state_;
    }

    const ClamdOptions& options() const { return options_; }
    StreamLimit& limit() { return limit_; }

    // Is told of each stream that was answered, before its verdict is given: the version of one
    // daemon says nothing of what another one finds. Any thread.
    void Answered(const ExchangeEnd& stream) {
        const std::lock_guard guard(lock_);
        answered_ = stream.peer;
        if (stream.peer != told_version_) state_.version = 0;
    }

    std::shared_ptr<ClamdExchange> BeginStream(steady_clock::time_point deadline,
                                               StreamLimit::Slot slot) {
        auto stream = std::make_shared<ClamdExchange>(
            ClamdRoad{io_, pool_, names_}, deadline, std::move(slot),
            [this](const ExchangeEnd& end) {
                const bool failed = end.kind != ExchangeEnd::Kind::kAnswered;
                if (!failed) Answered(end);
                pings_ |= failed;
                const EngineState state = State();
                if (failed || !state.trouble.empty() || state.version == 0) AskSoon();
            });
        stream->Start();
        return stream;
    }

private:
    // What runs short of memory is given up; its deadline ends it for those who wait.
    void Run() {
        while (!io_.stopped()) {
            try {
                io_.run();
            } catch (const std::exception& exception) {
                Recover(exception.what());
            }
        }
    }

    void Recover(const char* trouble) noexcept try {
        const auto question = question_.lock();
        asking_ = question && !question->HasEnded();
        AskAt(steady_clock::now() + kAfterTrouble);
        log_(std::string("engine: ") + trouble);
    } catch (const std::exception&) {
        // A stream that fails asks again.
    }

    // Asks for the version, but after a failure whether there is an answer at all.
    void Ask() {
        if (closing_) return;
        asked_ = steady_clock::now();
        {
            const std::lock_guard guard(lock_);
            answered_.reset();
        }
        auto question = std::make_shared<ClamdExchange>(
            ClamdRoad{io_, pool_, names_}, asked_ + kToAnswerVersion, nullptr,
            [this](const ExchangeEnd& end) { Learn(end); });
        Bytes command;
        Append(command,
               pings_ ? std::string_view("zPING\0", 6) : std::string_view("zVERSION\0", 9));
        question->Send(std::move(command), true);
        question->Start();
        question_ = question;
        asking_ = true;
    }

    void Learn(const ExchangeEnd& end) {
        asking_ = false;
        AskAt(asked_ + kAfterTrouble);
        if (std::exchange(pings_, false) && end.text == "PONG") return Ask();
        EngineState learnt;
        if (end.kind == ExchangeEnd::Kind::kAnswered) {
            learnt = ReadVersion(end.text, end.daemon);
        } else {
            learnt.trouble = end.text;
            if (end.kind == ExchangeEnd::Kind::kLate)
                learnt.trouble += " within " + SecondsText(kToAnswerVersion);
        }
        pings_ = !learnt.trouble.empty();
        if (!pings_) AskAt(asked_ + kBetweenVersions);
        std::string news;
        {
            const std::lock_guard guard(lock_);
            if (!learnt.trouble.empty()) {
                if (learnt.trouble != state_.trouble) news = learnt.trouble;
                state_.trouble = std::move(learnt.trouble);
            } else {
                if (!state_.trouble.empty() || learnt.name != state_.name ||
                    learnt.signatures != state_.signatures) {
                    news = learnt.name;
                    if (!learnt.signatures.empty()) news += ", signatures " + learnt.signatures;
                }
                told_version_ = end.peer;
                if (answered_ && *answered_ != end.peer) {
                    learnt.version = 0;
                    AskAt(asked_ + kAfterFailure);
                }
                state_ = std::move(learnt);
            }
        }
        if (!news.empty()) log_("engine: " + news);
    }

    void AskSoon() {
        if (!asking_) AskAt(asked_ + kAfterFailure);
    }

    void AskAt(steady_clock::time_point time) {
        if (closing_) return;
        ask_.expires_at(time);
        ask_.async_wait([this](const asio::error_code& error) {
            if (!error && !asking_) Ask();
        });
    }

    const ClamdOptions options_;
    const Log log_;
    StreamLimit limit_;
    mutable std::mutex lock_;
    // Guarded by it.
    EngineState state_;
    ClamdProtocol::endpoint told_version_;             // who told it
    std::optional<ClamdProtocol::endpoint> answered_;  // the last stream since the question began

    asio::io_context io_;
    // The context's thread alone uses these.
    AddressPool pool_;
    HostNames names_;
    asio::steady_timer ask_;
    asio::executor_work_guard<asio::io_context::executor_type> work_;
    std::weak_ptr<ClamdExchange> question_;
    bool asking_ = false;
    bool pings_ = false;  // there was a failure
    bool closing_ = false;
    steady_clock::time_point asked_;

    std::thread thread_;
};

void ClamdCheck::Remember(const ExchangeEnd& end) const { mail_.engine_.Answered(end); }

ClamdMail::ClamdMail(ClamdEngine& engine, std::string account)
    : engine_(engine),
      account_(std::move(account)),
      deadline_(steady_clock::now() + engine.options().per_mail) {}

std::unique_ptr<ContentCheck> ClamdMail::Begin() {
    const ClamdOptions& options = engine_.options();
    const auto own_deadline = steady_clock::now() + options.per_part;
    const bool is_own = own_deadline < deadline_;
    const auto deadline = std::min(own_deadline, deadline_);
    const std::string limit =
        is_own ? SecondsText(options.per_part)
               : "the " + SecondsText(options.per_mail) + " that its message may take";
    const auto refuse = [&](std::string why) {
        return std::make_unique<ClamdCheck>(*this, nullptr, std::move(why));
    };
    if (steady_clock::now() >= deadline_)
        return refuse("its message has taken " + SecondsText(options.per_mail) + " already");
    // Streams that are finished end by themselves. A mail that feeds one waits for no other, so
    // that no two wait for each other.
    StreamLimit::Slot slot = unfinished_ != 0 ? engine_.limit().Take(account_)
                                              : engine_.limit().TakeUntil(account_, deadline);
    if (!slot)
        return refuse("none of the " + std::to_string(options.streams) +
                      " streams to clamd was free within " + limit);
    return std::make_unique<ClamdCheck>(*this, engine_.BeginStream(deadline, std::move(slot)),
                                        limit);
}

}  // namespace

std::unique_ptr<AccountsEngine> MakeClamdEngine(ClamdOptions options, Log log,
                                                vek::platform::Clock& clock) {
    return std::make_unique<ClamdEngine>(std::move(options), std::move(log), clock);
}

}  // namespace reference_product
