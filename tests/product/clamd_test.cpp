#include <gmock/gmock.h>

#include <atomic>
#include <mutex>
#include <thread>

#include "product/clamd/clamd_engine.h"
#include "product/clamd/clamd_socket.h"
#include "product/clamd/engine_choice.h"
#include "product/state/text_file.h"
#include "sandbox/clamd/stand_in_clamd.h"
#include "tests/support/fake_clock.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/wait_until.h"

namespace reference_product {
namespace {

using sandbox::ClamdBehaviour;
using sandbox::StandInClamd;
using testing::HasSubstr;
using After = ClamdBehaviour::After;
using VerdictKind = ContentVerdict::Kind;
using namespace std::chrono_literals;
using namespace std::string_literals;

constexpr std::size_t kChunk = 64 * 1024;

struct AwakeClock : tests::FakeClock {
    std::chrono::milliseconds AwakeTime() noexcept override { return now.load(); }
    std::atomic<std::chrono::milliseconds> now{0ms};
};

struct Clamd : ::testing::Test {
    std::unique_ptr<AccountsEngine> MakeEngine(const std::vector<std::string>& addresses) {
        options.addresses.clear();
        for (const auto& text : addresses)
            options.addresses.push_back(ParseEngineAddress(text).value());
        const auto log = [this](std::string_view line) {
            const std::lock_guard guard(lock);
            logged.emplace_back(line);
        };
        return MakeClamdEngine(options, log, clock);
    }
    static std::unique_ptr<ContentCheck> Fed(MailContents& mail, std::string_view content) {
        auto check = mail.Begin();
        // In pieces of no special size.
        for (std::size_t at = 0, size = 1; at < content.size(); at += size, size = size * 3 + 1)
            if (!check->Feed(std::as_bytes(std::span(content.substr(at, size))))) break;
        check->Finish();
        return check;
    }
    static ContentVerdict Check(ContentEngine& engine, std::string_view content) {
        const auto mail = engine.BeginMail();
        return Fed(*mail, content)->Verdict();
    }
    static bool IsClean(ContentEngine& engine, std::string_view content = "text") {
        const ContentVerdict verdict = Check(engine, content);
        EXPECT_EQ(verdict.text, "");
        return verdict.kind == VerdictKind::kClean;
    }

    AwakeClock clock;
    ClamdOptions options;
    std::mutex lock;
    std::vector<std::string> logged;
};

TEST_F(Clamd, GetsEachByteAndGivesItsVerdict) {
    const tests::TemporaryFolder folder;
    std::vector<std::unique_ptr<StandInClamd>> daemons;
    daemons.push_back(std::make_unique<StandInClamd>());
    if (UnixEndpoint("/")) {
        const std::string path = tests::Utf8(folder.path() / "clamd.ctl");
        daemons.push_back(std::make_unique<StandInClamd>(path));
    }
    for (const auto& daemon : daemons) {
        const auto engine = MakeEngine({daemon->address()});
        const auto mail = engine->BeginMail();
        std::vector<std::string> contents;
        std::vector<std::unique_ptr<ContentCheck>> checks;
        for (const std::size_t size :
             {std::size_t{0}, kChunk - 1, kChunk, kChunk + 1, 5 * kChunk + 7}) {
            std::string content(size, '\0');
            for (std::size_t i = 0; i != size; ++i) content[i] = static_cast<char>(i * 7 / 5);
            if (size > kChunk) content.replace(kChunk - 9, 0, StandInClamd::kVirus);
            checks.push_back(Fed(*mail, content));
            contents.push_back(std::move(content));
        }
        for (std::size_t i = 0; i != checks.size(); ++i) {
            const ContentVerdict verdict = checks[i]->Verdict();
            EXPECT_EQ(verdict.kind, i < 3 ? VerdictKind::kClean : VerdictKind::kFound) << i;
            EXPECT_EQ(verdict.text, i < 3 ? "" : StandInClamd::kVirusName);
        }
        EXPECT_THAT(daemon->contents(), testing::UnorderedElementsAreArray(contents));
        EXPECT_EQ(daemon->breaches(), 0u);
    }
}

TEST_F(Clamd, MayFailInEachWay) {
    const auto answers = [](std::string_view answer) {
        return ClamdBehaviour{.answer = std::string(answer)};
    };
    const std::string small = "text", large(16 << 20, 'x'), long_name(400, 'n');
    const struct {
        std::string content;
        ClamdBehaviour behaviour;
        std::string text;  // a part of it
        VerdictKind kind = VerdictKind::kNotChecked;
    } kCases[] = {
        {large, {.stream_max_length = 100'000}, "StreamMaxLength"},
        {small, {.stream_max_length = 3}, "StreamMaxLength"},
        {large, {.after = After::kEnd, .bytes = 0}, "closed the connection"},
        {large, {.after = After::kEnd, .bytes = 70'000}, "closed the connection"},
        {small, {.after = After::kEnd, .bytes = 4}, "closed the connection"},
        {large, {.after = After::kSilence, .bytes = 70'000}, "did not take the content within 1 s"},
        {small, {.after = After::kSilence, .bytes = 4}, "did not answer within 1 s"},
        {small, {.verdict_takes = 3s}, "did not answer within 1 s"},
        {large, {.answer = "stream: OK\0"s, .after = After::kAnswer, .bytes = 9}, "had ended"},
        {large,
         {.answer = "stream: a FOUND\0"s, .after = After::kAnswer, .bytes = 9},
         "a",
         VerdictKind::kFound},
        {small, answers("OK\0"s), "no clamd does: \"OK\""},
        {small, answers("PONG\0"s), "no clamd does"},
        {small, answers("UNKNOWN COMMAND\0"s), "no clamd does"},
        {small, answers("stream:  FOUND\0"s), "no clamd does"},
        {small, answers("stream: OK"), "broke off its answer"},
        {small, answers(std::string(5000, 'x')), "answers without end"},
        {small, answers("stream: OK\0stream: OK\0"s), "more than one answer"},
        {small, answers("stream: Can't allocate memory ERROR\0"s), "error: Can't allocate"},
        {small, answers("\x7F\xFF\n\xE2\x80\xAE\0"s), "\" \xEF\xBF\xBD  \""},
        {small, answers("stream: \x1B\xC3\xA4 FOUND\0"s), " \xC3\xA4", VerdictKind::kFound},
        {small, answers("stream: " + long_name + " FOUND" + '\0'), long_name.substr(0, 256) + "...",
         VerdictKind::kFound},
    };
    StandInClamd daemon;
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.text);
        const bool is_late = row.text.ends_with("1 s");
        options.per_part = is_late ? 800ms : 30s;
        const auto engine = MakeEngine({daemon.address()});
        daemon.Behave(row.behaviour);
        const auto start = std::chrono::steady_clock::now();
        const ContentVerdict verdict = Check(*engine, row.content);
        EXPECT_EQ(verdict.kind, row.kind);
        EXPECT_THAT(verdict.text, HasSubstr(row.text));
        EXPECT_LE(verdict.text.size(), 300u + daemon.address().size());
        EXPECT_LT(std::chrono::steady_clock::now() - start, is_late ? 2s : 10s);
        daemon.Behave({});
        EXPECT_TRUE(IsClean(*engine)) << "the next one";
    }
}

TEST_F(Clamd, IsAskedAtTheNextAddressWhenOneFails) {
    auto first = std::make_unique<StandInClamd>();
    const StandInClamd deaf(0, true);
    StandInClamd last;
    const unsigned short port = first->port();
    const auto engine =
        MakeEngine({"tcp:localhost:" + std::to_string(port), deaf.address(), last.address()});
    last.Behave({.version = "ClamAV 1.4.7"});
    ASSERT_TRUE(tests::WaitUntil([&] { return engine->State().version != 0; }));
    const auto version = engine->State().version;
    EXPECT_TRUE(IsClean(*engine));
    EXPECT_EQ(first->contents().size(), 1u);
    EXPECT_EQ(engine->State().version, version);
    first->Behave({.after = After::kEnd, .bytes = 1});
    EXPECT_THAT(Check(*engine, "text").text, HasSubstr("closed the connection"));
    EXPECT_TRUE(IsClean(*engine));
    EXPECT_EQ(last.contents().size(), 1u) << "and the deaf one was given up";
    EXPECT_NE(engine->State().version, version) << "which is that of the first one";
    EXPECT_TRUE(tests::WaitUntil([&] { return engine->State().name == "ClamAV 1.4.7"; }));
    first->Behave({});
    clock.now = 29'999ms;
    EXPECT_TRUE(IsClean(*engine));
    EXPECT_EQ(last.contents().size(), 2u) << "the others come first for a while";
    clock.now = 30'000ms;
    EXPECT_TRUE(IsClean(*engine));
    EXPECT_EQ(last.contents().size(), 2u);

    options.per_part = 600ms;
    const auto hasty = MakeEngine({deaf.address(), last.address()});
    EXPECT_THAT(Check(*hasty, "text").text, HasSubstr("could not be reached"));
    EXPECT_TRUE(IsClean(*hasty)) << "the deaf one comes last";

    const auto alone = MakeEngine({first->address()});
    first.reset();
    EXPECT_THAT(Check(*alone, "text").text, HasSubstr("cannot be reached"));
    first = std::make_unique<StandInClamd>(port);
    clock.now = 30'999ms;
    EXPECT_THAT(Check(*alone, "text").text, HasSubstr("cannot be reached")) << "for a second";
    clock.now = 31'000ms;
    EXPECT_TRUE(IsClean(*alone));
}

TEST_F(Clamd, HasSoManyStreamsAtOnce) {
    StandInClamd daemon;
    options.streams = 3;  // two for one account
    daemon.Behave({.verdict_takes = 20ms});
    const auto engine = MakeEngine({daemon.address()});
    std::vector<std::jthread> mails;
    for (int i = 0; i != 4; ++i)
        mails.emplace_back([&] {
            const auto mail = engine->BeginMail();
            std::vector<std::unique_ptr<ContentCheck>> checks;
            for (int content = 0; content != 3; ++content) checks.push_back(Fed(*mail, "text"));
            for (const auto& check : checks) EXPECT_EQ(check->Verdict().kind, VerdictKind::kClean);
        });
    mails.clear();
    EXPECT_EQ(daemon.most_at_once(), 2u);

    // Those that are being fed, and those that were forgotten, hold up nobody.
    const auto mail = engine->BeginMail();
    std::vector<std::unique_ptr<ContentCheck>> fed;
    for (int i = 0; i != 3; ++i) fed.push_back(mail->Begin());
    fed[0]->Finish();
    EXPECT_EQ(fed[0]->Verdict().kind, VerdictKind::kClean);
    options.per_part = 600ms;
    const auto hasty = MakeEngine({daemon.address()});
    daemon.Behave({.verdict_takes = 5s});
    const auto slow = hasty->BeginMail();
    const auto one = Fed(*slow, "text"), two = Fed(*slow, "text");
    const auto others = hasty->BeginMailOf("another account");
    const auto start = std::chrono::steady_clock::now();
    const auto free = others->Begin();
    EXPECT_LT(std::chrono::steady_clock::now() - start, 300ms) << "is left to others";
    const auto three = Fed(*slow, "text");
    EXPECT_THAT(two->Verdict().text, HasSubstr("did not answer within 1 s"));
    EXPECT_EQ(three->Verdict().kind, VerdictKind::kNotChecked);
    daemon.Behave({});
    EXPECT_TRUE(IsClean(*hasty));
    fed.clear();
    EXPECT_TRUE(IsClean(*engine));
}

TEST_F(Clamd, TellsItsVersionAndTroubles) {
    auto daemon = std::make_unique<StandInClamd>();
    const unsigned short port = daemon->port();
    options.per_mail = 500ms;
    const auto engine = MakeEngine({daemon->address()});
    ASSERT_TRUE(tests::WaitUntil([&] { return engine->State().trouble.empty(); }));
    const EngineState first = engine->State();
    EXPECT_EQ(first.name, "ClamAV 1.4.6");
    EXPECT_EQ(first.signatures, "27450, Sat Nov 21 09:26:14 2026");
    EXPECT_NE(first.version, 0u);

    daemon.reset();
    EXPECT_THAT(Check(*engine, "text").text, HasSubstr("tcp:127.0.0.1:" + std::to_string(port)));
    ASSERT_TRUE(tests::WaitUntil([&] { return !engine->State().trouble.empty(); }));
    EXPECT_EQ(engine->State().version, first.version) << "what is known to be clean stays so";
    const auto late = engine->BeginMail();
    std::this_thread::sleep_for(600ms);
    EXPECT_THAT(Fed(*late, "text")->Verdict().text, HasSubstr("its message"));

    daemon = std::make_unique<StandInClamd>(port);
    daemon->Behave({.version = "ClamAV 1.4.6"});
    clock.now = 1000ms;
    EXPECT_TRUE(IsClean(*engine));
    ASSERT_TRUE(tests::WaitUntil([&] { return engine->State().trouble.empty(); }));
    EXPECT_EQ(engine->State().signatures, "");
    EXPECT_NE(engine->State().version, first.version);
    {
        const std::lock_guard guard(lock);
        EXPECT_EQ(logged.size(), 3u);
    }

    daemon->Behave({.version = "1.4.6"});
    const auto other = MakeEngine({daemon->address()}), none = MakeEngine({});
    EXPECT_TRUE(tests::WaitUntil([&] {
        return other->State().trouble.find("no clamd does") != std::string::npos;
    })) << other->State().trouble;
    EXPECT_EQ(other->State().version, 0u);
    EXPECT_NE(none->State().trouble, "");
    EXPECT_THAT(Check(*none, "text").text, HasSubstr("no address"));
}

TEST(EngineAddress, IsAPathOrAHost) {
    for (const char* good : {"unix:/run/clamd.ctl", "tcp:a-1.b_c:1", "tcp:[::1]:65535"})
        EXPECT_EQ(ToText(ParseEngineAddress(good).value()), good);
    EXPECT_EQ(ToText(ParseEngineAddress("tcp:a").value()), "tcp:a:3310");
    EXPECT_EQ(ToText(ParseEngineAddress("tcp:[fe80::1%2]").value()), "tcp:[fe80::1%2]:3310");
    for (const std::string bad :
         {"", "unix:", "unix:a", "tcp:", "tcp::1", "tcp:a:", "tcp:a:0", "tcp:a:65536", "tcp:a:1x",
          "tcp:a:-1", "tcp:::1", "tcp:[::1", "tcp:[]", "tcp:[a]", "tcp:[::1]1", "tcp:a b", "a:1",
          "TCP:a", "tcp:a/b"})
        EXPECT_FALSE(ParseEngineAddress(bad)) << bad;
    EXPECT_FALSE(ParseEngineAddress("unix:/" + std::string(107, 'a')));
    EXPECT_FALSE(ParseEngineAddress("unix:/a\0b"s));
}

TEST(EngineChoice, FollowsTheSettings) {
    const tests::TemporaryFolder folder;
    const auto file = folder.path() / "settings.json";
    const auto write = [&](const std::string& members) {
        ReplaceTextFile(file, R"({"isPluginEnabled": true, "checkIncomingOnly": false,
            "policySettings": null, "userSettings": {"checkOnDelivery": true,
            "checkOnRead": true, "checkOnSend": true})" +
                                  members + "}");
    };
    const Log log = [](std::string_view) {};
    write("{");
    EngineChoice choice(std::make_shared<SettingsStore>(file, "", log), log);
    EXPECT_THROW(choice.Current(), std::runtime_error) << "they may want clamd";
    write("");
    EXPECT_EQ(choice.Current(), nullptr);
    write(R"(, "engine": "clamd", "engineAddresses": ["tcp:127.0.0.1:9"])");
    const auto engine = choice.Current();
    ASSERT_NE(engine, nullptr);
    for (const char* malformed :
         {R"(, "engine": "other")", R"(, "engineAddresses": ["x"])", R"(, "engineAddresses": "")",
          R"(, "engineSecondsPerPart": 0)", R"(, "engineSecondsPerMail": 121)"}) {
        write(malformed);
        EXPECT_EQ(choice.Current(), engine) << malformed;
    }
    write(R"(, "engine": "clamd", "engineSecondsPerPart": 60, "engineSecondsPerMail": 120)");
    EXPECT_NE(choice.Current(), engine);
    EXPECT_NE(choice.Current(), nullptr);
    write("");
    EXPECT_EQ(choice.Current(), nullptr);
}

}  // namespace
}  // namespace reference_product
