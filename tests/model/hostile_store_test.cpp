// Answers that no sound store gives: nothing may crash, hang or grow without bound on them.

#include "tests/model/disturbed_mail.h"

namespace plugins::mail_processing {
namespace {

using outlook::Distortion;
using HostileStoreTest = DisturbedMail;

constexpr ULONG kHuge = 0xFFFFFFFF;

void MakeWrong(SPropValue& value, ULONG type, ULONG bits) {
    value.ulPropTag = CHANGE_PROP_TYPE(value.ulPropTag, type);
    value.Value.cur.int64 = 0;
    value.Value.bin.lpb = nullptr;
    value.Value.bin.cb = bits;
}

TEST_F(HostileStoreTest, WrongAnswersDoNoHarm) {
    const auto every = [](ULONG type, ULONG bits) -> Distortion {
        return {[=](SPropValue* values, ULONG& count) {
                    for (ULONG i = 0; i != count; ++i) MakeWrong(values[i], type, bits);
                },
                [=](SRow& row) {
                    for (ULONG i = 0; i != row.cValues; ++i) MakeWrong(row.lpProps[i], type, bits);
                }};
    };
    const auto values = [](void (*change)(SPropValue&)) -> Distortion {
        return {[=](SPropValue* given, ULONG&) { change(*given); }, {}};
    };
    const auto row = [](void (*change)(SRow&)) -> Distortion { return {{}, change}; };
    const auto size = [](std::uint64_t bytes) -> Distortion {
        return {{}, {}, [=](std::uint64_t& shown) { shown = bytes; }};
    };
    const auto reads = [](ULONG given, ULONG shown) -> Distortion {
        return {{}, {}, {}, [=](std::span<std::byte> buffer) -> std::optional<ULONG> {
                    if (buffer.size() > 60'000) return std::nullopt;  // not the subsystem's own
                    std::fill_n(buffer.begin(), std::min<std::size_t>(given, buffer.size()),
                                std::byte{'x'});
                    return shown;
                }};
    };
    Distortion endless = reads(3, 3);
    endless.stream_size = size(std::uint64_t{1} << 40).stream_size;
    const std::pair<const char*, Distortion> cases[] = {
        {"no values", {[](SPropValue*, ULONG& count) { count = 0; }}},
        {"not enough memory", every(PT_ERROR, static_cast<ULONG>(MAPI_E_NOT_ENOUGH_MEMORY))},
        {"an error that is none", every(PT_ERROR, 0)},
        {"not found", every(PT_ERROR, static_cast<ULONG>(MAPI_E_NOT_FOUND))},
        {"no narrow text", every(PT_STRING8, 0)},
        {"no wide text", every(PT_UNICODE, 0)},
        {"an empty binary", every(PT_BINARY, 0)},
        {"a huge binary", every(PT_BINARY, kHuge)},
        {"numbers", every(PT_LONG, kHuge)},
        {"booleans", every(PT_BOOLEAN, kHuge)},
        {"times", every(PT_SYSTIME, kHuge)},
        {"times without end", values([](SPropValue& value) {
             MakeWrong(value, PT_SYSTIME, 0);
             value.Value.ft = {kHuge, kHuge};
         })},
        {"unknown types", every(PT_CLSID, 0)},
        {"arrays", every(0x101F, kHuge)},
        {"texts that end early", values([](SPropValue& value) {
             if (PROP_TYPE(value.ulPropTag) == PT_STRING8) value.Value.lpszA[0] = '\0';
         })},
        {"rows without columns", row([](SRow& given) { given.cValues = 0; })},
        {"rows of one column", row([](SRow& given) { given.cValues = 1; })},
        {"other columns", row([](SRow& given) { given.lpProps[0].ulPropTag = 0; })},
        {"texts that are nowhere in a row", row([](SRow& given) {
             for (ULONG i = 1; i < given.cValues; ++i) given.lpProps[i].Value.lpszA = nullptr;
         })},
        {"rows that are nowhere",
         {{}, [&](SRow& given) { mapi_.memory().Free(std::exchange(given.lpProps, nullptr)); }}},
        {"streams that seem empty", size(0)},
        {"streams that seem short", size(5)},
        {"streams that seem long", size(5000)},
        {"streams that seem endless", size(std::uint64_t{1} << 40)},
        {"streams that are endless", reads(kHuge, 3)},
        {"streams that are and seem endless", endless},
        {"reads of more than was asked for", reads(kHuge, kHuge)},
    };
    for (const auto& [name, distortion] : cases) {
        for (const Operation& operation : Operations()) {
            SCOPED_TRACE(testing::Message() << operation.name << ": " << name);
            mapi_.distortion() = distortion;
            const Outcome outcome = Run(operation);
            mapi_.distortion() = {};
            // The notice goes in whole or not at all.
            if (operation.rule != Rule::kNotice) continue;
            const auto* body = outcome.stored.properties.Find(mapi::tag::kBodyA);
            EXPECT_EQ(body->content()->substr(0, 10), "plain text");
        }
    }
}

}  // namespace
}  // namespace plugins::mail_processing
