// Measures each callback of a check against the bare hand-over that it needs at least: two events
// between two threads.

#include <benchmark/benchmark.h>

#include <array>

#include "bench/one_processor.h"
#include "bench/ratio.h"
#include "mapi/property_tags.h"
#include "processing/message_processor.h"
#include "product/in_process_product.h"
#include "product/mail_scanner.h"
#include "sandbox/outlook/mapi_subsystem.h"

namespace {

namespace mail_processing = plugins::mail_processing;
using vek::platform::Event;
using vek::platform::EventKind;

constexpr int kCallbacks = 1000;

// One thread asks, the other answers, as often as a check has callbacks.
void BareHandOver(benchmark::State& state) {
    const bench::OneProcessor pinned;
    auto& system = vek::platform::TheSystem();
    for ([[maybe_unused]] const auto _ : state) {
        const auto request = system.NewEvent(EventKind::kAutoReset);
        const auto reply = system.NewEvent(EventKind::kAutoReset);
        const auto thread = system.StartThread([&] {
            const std::array<Event*, 1> wait{reply.get()};
            for (int i = 0; i < kCallbacks; ++i) {
                request->Set();
                system.WaitAny(wait, vek::platform::kInfinite);
            }
        });
        const std::array<Event*, 1> wait{request.get()};
        for (int i = 0; i < kCallbacks; ++i) {
            system.WaitAny(wait, vek::platform::kInfinite);
            reply->Set();
        }
        thread->Wait(vek::platform::kInfinite);
    }
}
BENCHMARK(BareHandOver)->Unit(benchmark::kMicrosecond)->MeasureProcessCPUTime();

// Checks one message by a scanner that makes `callbacks` calls and nothing else.
void Check(benchmark::State& state, int callbacks) {
    const bench::OneProcessor pinned;
    sandbox::outlook::MapiSubsystem mapi;
    sandbox::outlook::MessageRecord record;
    record.properties.Set(plugins::mapi::tag::kSubjectW,
                          sandbox::outlook::PropertyValue::Text("Hello"));
    const std::string id = mapi.store().Add(std::move(record));
    const auto message = mapi.OpenMessage(id);
    const auto functions = std::make_shared<plugins::mapi::MapiFunctions>(
        sandbox::outlook::MapiSubsystem::Functions());
    const auto product = vek::MakeObject<reference_product::InProcessProduct>(
        vek::MakeObject<reference_product::ScriptedScanner>(
            [callbacks](bool, mail_processing::IMailMessage& mail) {
                std::u16string subject;
                for (int i = 0; i < callbacks; ++i) mail.GetSubject(subject);
                return vek::result::kOk;
            }));
    plugins::loader::ServiceAccess services([&](vek::RefPtr<plugins::ILoader>& loader) {
        loader = product;
        return vek::result::kOk;
    });
    const auto processor = mail_processing::MessageProcessor::Create(
        nullptr, functions, mapi.OpenSession().get(),
        {vek::platform::TheSystem(), vek::platform::TheClock(), services, nullptr});
    for ([[maybe_unused]] const auto _ : state)
        processor->ProcessMessage(message.get(), mail_processing::kIncoming,
                                  mail_processing::kForeground);
}

void CheckDoingNothing(benchmark::State& state) { Check(state, 0); }
BENCHMARK(CheckDoingNothing)->Unit(benchmark::kMicrosecond)->MeasureProcessCPUTime();

void CheckWithCallbacks(benchmark::State& state) { Check(state, kCallbacks); }
BENCHMARK(CheckWithCallbacks)->Unit(benchmark::kMicrosecond)->MeasureProcessCPUTime();

const bench::Ratio kCallback("1000 callbacks of one check, to bare hand-overs",
                             "CheckWithCallbacks/process_time", "BareHandOver/process_time", 1.5);

}  // namespace
