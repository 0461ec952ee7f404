#include "common/common/registry_watcher.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "common/common/plugins_settings_watcher.h"
#include "common/product_info/product_info_watcher_impl.h"
#include "sandbox/registry/memory_registry.h"
#include "tests/support/fake_clock.h"
#include "tests/support/faulty_system.h"
#include "tests/support/installed_product.h"
#include "tests/support/recording_tracer.h"
#include "tests/support/wait_until.h"
#include "vek/core/throw.h"
#ifdef _WIN32
#include "tests/support/scratch_registry_win32.h"
#endif

namespace {

using namespace plugins;
using namespace plugins::common;
using helpers::RegistryKey, helpers::RegistryKeyPath;
using Call = sandbox::MemoryRegistry::Call;

RegistryKeyPath KeyOf(const std::u16string& path) {
    return {helpers::RegistryHandle::kLocalMachine, path};
}

// Notes what it is told, and then does what it is to do.
struct Subscriber final : vek::ObjectImpl<IRegistrySubscriber> {
    void changed(const RegistryKeyPath& key) override {
        EXPECT_FALSE(key.path.empty());
        const int number = ++told;
        if (then) then(number);
    }
    std::atomic<int> told{0};
    std::function<void(int)> then;
};
using SubscriberPtr = vek::RefPtr<Subscriber>;

// A watcher that is not yet running.
struct Watched {
    explicit Watched(helpers::Registry& with) : registry(with) { Set(u"probe", u""); }
    void Start() { thread = std::make_unique<WatchThread>(watcher, tracer, system); }
    void Set(const std::u16string& path, std::u16string_view text) {
        RegistryKey::Create(KeyOf(path), registry).SetString(u"value", text);
    }
    SubscriberPtr Subscribe(const std::u16string& path) {
        auto subscriber = vek::MakeObject<Subscriber>();
        watcher->Subscribe(KeyOf(path), subscriber);
        return subscriber;
    }
    // Until the watch thread has looked at every key as it is now.
    void Settle() {
        const SubscriberPtr probe = Subscribe(u"probe");
        Set(u"probe", std::u16string(++probes, u'x'));
        EXPECT_TRUE(tests::WaitUntil([&] { return probe->told > 0; }));
        watcher->Unsubscribe(probe.get());
    }

    helpers::Registry& registry;
    std::size_t probes = 0;
    tests::FaultySystem system;
    std::shared_ptr<tests::RecordingTracer> tracer = std::make_shared<tests::RecordingTracer>();
    vek::RefPtr<RegistryWatcher> watcher =
        vek::MakeObject<RegistryWatcher>(tracer, registry, system);
    std::unique_ptr<WatchThread> thread;
};

// With the stand-in and with the system's own.
void WithEachRegistry(const std::function<void(helpers::Registry&)>& test) {
    sandbox::MemoryRegistry memory;
    test(memory);
    EXPECT_EQ(memory.open_keys(), 0u);
#ifdef _WIN32
    const tests::ScratchRegistry scratch;
    test(vek::platform::TheRegistry());
#endif
}

TEST(RegistryWatcher, TellsOfChangedValues) {
    WithEachRegistry([](helpers::Registry& registry) {
        Watched it(registry);
        it.Set(u"key\\below", u"");
        const SubscriberPtr key = it.Subscribe(u"key");
        it.Start();
        it.Settle();
        const std::pair<std::function<void()>, bool> steps[] = {
            {[&] { it.Set(u"key", u"1"); }, true},
            {[&] { it.Set(u"key\\below", u"2"); }, true},
            {[&] { RegistryKey::Create(KeyOf(u"key\\empty"), registry); }, false},
            {[&] { helpers::RemoveValue(KeyOf(u"key"), u"value", registry); }, true},
            {[&] { helpers::DeleteKey(KeyOf(u"key\\empty"), registry); }, false},
            {[&] { helpers::RemoveValue(KeyOf(u"key\\below"), u"value", registry); }, true},
            {[&] { helpers::DeleteKey(KeyOf(u"key\\below"), registry); }, false},
            // Which not every system tells.
            {[&] { helpers::DeleteKey(KeyOf(u"key"), registry); }, true},
            {[&] { RegistryKey::Create(KeyOf(u"key"), registry); }, false},
            {[&] { it.Set(u"key", u"3"); }, true},
            {[&] {  // another key in its place
                 helpers::DeleteKey(KeyOf(u"key"), registry);
                 it.Set(u"key", u"4");
             },
             true}};
        int step = 0;
        for (const auto& [act, told] : steps) {
            SCOPED_TRACE(++step);
            const int before = key->told;
            act();
            it.Settle();
            EXPECT_EQ(key->told != before, told);
        }
        EXPECT_GT(it.tracer->Count("700 RegistryWatcher: notifying about changed { HKLM\\key,"),
                  4u);
    });
}

TEST(RegistryWatcher, LosesNoChange) {
    WithEachRegistry([](helpers::Registry& registry) {
        Watched it(registry);
        for (const auto* key : {u"a", u"b", u"early"}) it.Set(key, u"");
        const SubscriberPtr a = it.Subscribe(u"a"), b = it.Subscribe(u"b"),
                            early = it.Subscribe(u"early"), late = it.Subscribe(u"late");
        it.Set(u"early", u"1");  // not armed yet
        it.Start();
        EXPECT_TRUE(tests::WaitUntil([&] { return early->told == 1; }));
        a->then = [&](int number) {
            if (number > 1) return;
            it.Set(u"a", u"2");  // the key that has fired
            it.Set(u"b", u"2");  // another, before the first is served
            it.Set(u"late\\below", u"2");
        };
        it.Set(u"a", u"1");
        EXPECT_TRUE(tests::WaitUntil([&] { return a->told == 2 && b->told == 1; }));
        it.Settle();
        EXPECT_EQ(a->told * 1000 + b->told * 100 + late->told * 10 + early->told, 2111);
    });
}

TEST(RegistryWatcher, TellsEverySubscriberOfAKeyThatIsStillThere) {
    sandbox::MemoryRegistry registry;
    Watched it(registry);
    it.Set(u"key", u"");
    const SubscriberPtr raises = it.Subscribe(u"key"), leaves = it.Subscribe(u"key"),
                        next = it.Subscribe(u"key"), has_two = it.Subscribe(u"key");
    it.watcher->Subscribe({KeyOf(u"key").root, u"key", helpers::RegistryBitness::k64}, has_two);
    SubscriberPtr comes;
    raises->then = [&](int) {
        it.watcher->Unsubscribe(leaves.get());
        if (!comes) comes = it.Subscribe(u"other");
        vek::ThrowResult(vek::result::kNotFound);
    };
    it.Start();
    it.Settle();
    it.Set(u"key", u"1");
    EXPECT_TRUE(tests::WaitUntil([&] { return has_two->told == 2; }));
    EXPECT_EQ(leaves->told, 0);
    EXPECT_EQ(next->told, 1);
    EXPECT_EQ(it.tracer->Count("300 ResultCodeException - Not found"), 1u);
    it.watcher->Unsubscribe(has_two.get());
    it.Set(u"key", u"2");
    it.Set(u"other", u"1");
    it.Settle();
    EXPECT_EQ(raises->told, 2);
    EXPECT_EQ(comes->told, 1);
    EXPECT_EQ(has_two->told, 2);
}

TEST(RegistryWatcher, WatchesWhatThereIsRoomFor) {
    sandbox::MemoryRegistry registry;
    Watched it(registry);
    std::vector<SubscriberPtr> all;
    const auto name = [](std::size_t i) { return u"key" + std::u16string(i + 1, u'k'); };
    for (std::size_t i = 0; i < 64; ++i) {
        if (i != 1) it.Set(name(i), u"");
        all.push_back(it.Subscribe(name(i)));
    }
    it.Start();
    const auto until = [](const auto& condition) { EXPECT_TRUE(tests::WaitUntil(condition)); };
    until([&] { return it.tracer->Count("500 RegistryWatcher: 1 keys are not watched") == 1; });
    for (std::size_t i = 0; i < 64; ++i) it.Set(name(i), u"1");
    until([&] { return all[62]->told == 1 && registry.armed_keys() == 62; });
    EXPECT_EQ(all[1]->told + all[63]->told, 0);  // those that were armed stay so
    it.watcher->Unsubscribe(all[0].get());
    until([&] { return all[1]->told == 1; });
    it.watcher->Unsubscribe(all[2].get());
    until([&] { return all[63]->told == 1; });
}

TEST(RegistryWatcher, FailsAsItSays) {
    sandbox::MemoryRegistry registry;
    {
        Watched it(registry);
        for (const int nth : {1, 2}) {
            it.system.fail_new_event = nth;
            EXPECT_THROW(RegistryWatcher(nullptr, registry, it.system), vek::SystemException);
        }
        it.system.fail_set = 1;
        EXPECT_THROW(it.Subscribe(u"key"), vek::CheckResultFailedException);
        it.system.fail_set = 1;
        EXPECT_EQ(it.watcher->Stop(), vek::result::kPlatformError);
        EXPECT_EQ(it.tracer->Count("m_stopEvent.Set(), VEK_SUCCEEDED(_result), result = 0x8"), 1u);
    }
    for (const auto refused : {std::optional<Call>(), {Call::kNotifyChange}, {Call::kOpen}}) {
        Watched it(registry);
        const SubscriberPtr subscriber = it.Subscribe(u"probe");
        refused ? registry.Refuse(*refused, 5) : void(it.system.fail_wait = 1);
        it.Start();
        const bool ends = refused != Call::kOpen;
        const auto* const text = "300 RegistryWatcher: CheckFailedException";
        EXPECT_TRUE(tests::WaitUntil([&] { return it.tracer->Count(text) == ends; }));
        if (refused) registry.Refuse(*refused, 0);
        if (!ends) it.Settle();
        EXPECT_TRUE(tests::WaitUntil([&] { return registry.armed_keys() == (ends ? 0 : 1); }));
    }
}

TEST(RegistryWatcher, ShowsEveryLastValue) {
    WithEachRegistry([](helpers::Registry& registry) {
        constexpr std::size_t kKeys = 8, kThreads = 4;
        Watched it(registry);
        const auto name = [](std::size_t i) { return u"soak" + std::u16string(i, u'k'); };
        std::array<std::atomic<std::uint32_t>, kKeys> seen{};
        std::array<SubscriberPtr, kKeys> subscribers;
        const SubscriberPtr passing = vek::MakeObject<Subscriber>();
        for (std::size_t i = 0; i < kKeys; ++i) {
            if (i % 2 == 0) it.Set(name(i), u"");  // the others are missing at first
            subscribers[i] = it.Subscribe(name(i));
            subscribers[i]->then = [&, i](int number) {
                const auto key = RegistryKey::Open(KeyOf(name(i)), 0x20019, registry);
                seen[i] = key.GetDword(u"number");
                if (number % 5 != 0) return;  // re-enters
                it.watcher->Subscribe(KeyOf(name((i + 1) % kKeys)), passing);
                if (number % 2 == 0) it.watcher->Unsubscribe(passing.get());
            };
        }
        it.Start();
        std::array<std::vector<std::pair<SubscriberPtr, int>>, kThreads> left;
        std::vector<std::thread> threads;
        for (std::size_t t = 0; t < kThreads; ++t) {
            threads.emplace_back([&, t] {
                for (std::uint32_t round = 1; round <= 100; ++round) {
                    const std::size_t own = t * 2 + round % 2;
                    const SubscriberPtr guest = it.Subscribe(name((own + round) % kKeys));
                    RegistryKey::Create(KeyOf(name(own)), registry).SetDword(u"number", round);
                    it.watcher->Unsubscribe(guest.get());
                    left[t].emplace_back(guest, guest->told);
                }
            });
        }
        for (std::thread& thread : threads) thread.join();
        it.watcher->LookAgain();
        for (std::size_t i = 0; i < kKeys; ++i) {
            const std::uint32_t last = i % 2 == 0 ? 100 : 99;
            EXPECT_TRUE(tests::WaitUntil([&] { return seen[i] == last; })) << i << ' ' << seen[i];
        }
        for (const auto& guests : left)
            for (const auto& [guest, told] : guests) EXPECT_EQ(guest->told, told);
    });
}

struct Listener final : vek::ObjectImpl<ISettingsListener> {
    void OnSettingsChanged() noexcept override { ++told; }
    std::atomic<int> told{0};
};

TEST(PluginsSettingsWatcher, TellsItsListenersOfThePolicy) {
    sandbox::MemoryRegistry registry;
    Watched it(registry);
    it.Start();
    const auto policy = product_info::PolicyKey();
    const auto settings = vek::MakeObject<PluginsSettingsWatcher>(it.watcher, policy);
    const auto one = vek::MakeObject<Listener>(), other = vek::MakeObject<Listener>();
    for (const auto& listener : {one, one, other}) settings->Subscribe(listener.get());
    settings->Unsubscribe(one.get());
    it.Set(policy.path, u"1");
    it.Settle();
    EXPECT_GE(other->told, 1);
    EXPECT_EQ(one->told, 0);
    settings->Unsubscribe(other.get());
}

struct Followed final : vek::ObjectImpl<IRegistryWatcher> {
    void Subscribe(const RegistryKeyPath& key, RegistrySubscriberPtr one) override {
        EXPECT_EQ(key, KeyOf(u"SOFTWARE\\QZ\\Mail Plugin"));
        subscriber = std::move(one);
    }
    void Unsubscribe(IRegistrySubscriber*) override { subscriber.reset(); }
    void LookAgain() override { ++looks; }
    RegistrySubscriberPtr subscriber;
    int looks = 0;
};

TEST(ProductInfoWatcher, FollowsTheInstalledProduct) {
    tests::InstalledAt installed("");
    tests::FakeClock clock;
    const auto followed = vek::MakeObject<Followed>();
    int changes = 0;
    {
        product_info::ProductInfoWatcher product(followed, {.registry = installed, .clock = clock},
                                                 [&] { ++changes; });
        for (const auto& [later, looks] : {std::pair{0u, 0}, {29'999u, 0}, {1u, 1}, {1u, 1}}) {
            clock.ticks += later;
            product.OnAttempt();
            EXPECT_EQ(followed->looks, looks);
        }
        for (const auto& [path, told] : {std::pair{"", 0}, {"/a", 1}, {"/b", 2}, {"", 3}}) {
            installed.Move(path);
            for (int i = 0; i < 2; ++i) followed->subscriber->changed({});
            EXPECT_EQ(changes, told);
        }
    }
    EXPECT_FALSE(followed->subscriber);
}

}  // namespace
