// Measures the work that each event costs Outlook's thread before any check: the decision against a
// lock and a branch, and queueing a received message in a long queue against a short one.

#include <benchmark/benchmark.h>

#include <chrono>
#include <mutex>

#include "bench/ratio.h"
#include "processing/async_processor.h"
#include "processing/message_queue.h"
#include "product/in_process_product.h"
#include "sandbox/outlook/mapi_subsystem.h"

namespace {

namespace mail_processing = plugins::mail_processing;
using plugins::product::MailPluginSettings;
using reference_product::InProcessProduct;

struct StillClock final : vek::platform::Clock {
    std::uint32_t TickCount() noexcept override { return 5000; }
    vek::platform::filetime_t UtcNow() noexcept override { return 0; }
    std::int32_t UtcOffsetMinutes() noexcept override { return 0; }
};

struct Settings final : vek::ObjectImpl<plugins::product::IProductSettings> {
    vek::result_t GetSettings(MailPluginSettings& settings) noexcept override {
        settings = {true, false, {}, {1, 1, 1}};
        return vek::result::kOk;
    }
    vek::result_t SetUserSettings(const plugins::product::MailSettings&) noexcept override {
        return vek::result::kOk;
    }
};

struct Product {
    Product() {
        object->Offer(plugins::product::IProductSettings::kInterfaceId,
                      vek::MakeObject<Settings>());
    }
    const vek::RefPtr<InProcessProduct> object = vek::MakeObject<InProcessProduct>(nullptr);
    plugins::loader::ServiceAccess services{[this](vek::RefPtr<plugins::ILoader>& loader) {
        loader = object;
        return vek::result::kOk;
    }};
    StillClock clock;
};

void LockAndBranch(benchmark::State& state) {
    vek::platform::RecursiveLock lock;
    bool enabled = true;
    for ([[maybe_unused]] const auto _ : state) {
        benchmark::DoNotOptimize(enabled);
        const std::lock_guard guard(lock);
        if (!enabled) state.SkipWithError("disabled");
    }
}
BENCHMARK(LockAndBranch);

void Decide(benchmark::State& state) {
    Product product;
    mail_processing::ProductSettingsProvider provider(product.services, product.clock, nullptr);
    for ([[maybe_unused]] const auto _ : state) {
        if (!provider.IsNeedScan(mail_processing::mail_event::kRead)) {
            state.SkipWithError("no check");
        }
    }
}
BENCHMARK(Decide);

// As long as those of an Exchange store.
std::u16string EntryId(std::uint32_t number) {
    std::u16string id(140, u'0');
    for (auto digit = id.rbegin(); number != 0; ++digit, number >>= 4) {
        *digit = u"0123456789ABCDEF"[number & 0xF];
    }
    return id;
}

// Fills a queue that `make` makes with as many ids as asked for; the time is that of one.
template <class Make>
void Fill(benchmark::State& state, const Make& make) {
    using Time = std::chrono::steady_clock;
    std::vector<std::u16string> ids;
    for (std::uint32_t i = 0; i < state.range(0); ++i) ids.push_back(EntryId(i));
    for ([[maybe_unused]] const auto _ : state) {
        const auto queue = make();
        const auto start = Time::now();
        for (const std::u16string& id : ids) queue->Append(id);
        const std::chrono::duration<double> time = Time::now() - start;
        state.SetIterationTime(time.count() / static_cast<double>(ids.size()));
    }
}

void QueueAlone(benchmark::State& state) {
    Fill(state, [] { return std::make_unique<mail_processing::MessageQueue>(); });
}

// All that the thread that queues does. The processor is not started: it empties nothing.
struct Queueing {
    explicit Queueing(mail_processing::AsyncEnvironment environment)
        : processor(std::move(environment)) {}
    void Append(std::u16string_view id) { processor.AddMessage(id); }
    mail_processing::AsyncProcessor processor;
};

void AddMessage(benchmark::State& state) {
    sandbox::outlook::MapiSubsystem mapi;
    const auto functions = std::make_shared<plugins::mapi::MapiFunctions>(mapi.Functions());
    Fill(state, [&] {
        mail_processing::AsyncEnvironment environment{functions, nullptr, nullptr};
        environment.tracer = nullptr;
        return std::make_unique<Queueing>(environment);
    });
}

void Lengths(benchmark::internal::Benchmark* benchmark, std::int64_t length, std::int64_t times) {
    benchmark->Arg(length)->Iterations(times)->UseManualTime();
}
void Short(benchmark::internal::Benchmark* benchmark) { Lengths(benchmark, 10, 20'000); }
void Long(benchmark::internal::Benchmark* benchmark) { Lengths(benchmark, 100'000, 10); }
BENCHMARK(QueueAlone)->Apply(Short);
BENCHMARK(QueueAlone)->Apply(Long);
BENCHMARK(AddMessage)->Apply(Short);
BENCHMARK(AddMessage)->Apply(Long);

const bench::Ratio kDecision("decision between two refreshes, to a lock and a branch", "Decide",
                             "LockAndBranch", 2.5);
const bench::Ratio kAdd("one of 100,000 messages queued, to one of 10",
                        "AddMessage/100000/iterations:10/manual_time",
                        "AddMessage/10/iterations:20000/manual_time", 1.5);
const bench::Ratio kQueue("one of 100,000 ids in the queue alone, to one of 10",
                          "QueueAlone/100000/iterations:10/manual_time",
                          "QueueAlone/10/iterations:20000/manual_time", 1.5);

}  // namespace
