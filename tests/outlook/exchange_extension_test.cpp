#include "outlook/ExchClientExt.h"

#include "tests/outlook/addin_fixture.h"

namespace plugins::mail_processing {
namespace {

using ExchangeExtensionTest = AddinFixture;

TEST_F(ExchangeExtensionTest, StaysInSessionsAndWindowsOfItsBuildAlone) {
    const std::tuple<ULONG, ULONG, HRESULT> table[] = {
        {1, 0x000D0000, S_OK},    {2, 0x000DFFFF, S_FALSE},  {6, 0x000D0000, S_OK},
        {12, 0x000D0001, S_OK},   {13, 0x000D0000, S_FALSE}, {15, 0x000D0000, S_FALSE},
        {1, 0x000E0000, S_FALSE}, {0, 0x000D0000, S_FALSE},
    };
    const auto callback = Callback(entry_id_);
    const auto extension = vek::MakeObject<PlainExchClientExt>(tracer_);
    for (const auto& [context, version, result] : table) {
        host_->model()->client_build = version;
        EXPECT_EQ(extension->Install(callback.get(), context, 0), result) << context;
    }
    EXPECT_EQ(tracer_->Count(" context: UNKNOWN"), 2u);
    Fail(ObjectCall::kExtVersion, E_ACCESSDENIED);
    EXPECT_EQ(extension->Install(callback.get(), 1, 0), E_ACCESSDENIED);
}

struct Subscriber final : ExchangeEvents {
    void OnDelivery(mapi::IExchExtCallback*) noexcept override { ++told, act(); }
    void OnRead(mapi::IExchExtCallback*) noexcept override { ++told, act(); }
    int told = 0;
    std::function<void()> act = [] {};
    EventConnectionPtr connection;
};

TEST_F(ExchangeExtensionTest, SubscribersMayComeAndGoWithinAnEvent) {
    // The client's own object tells the subscribers of the add-in's.
    const auto client = vek::MakeObject<PlainExchClientExt>(tracer_);
    ExchangeEventSourcePtr source =
        CExchClientExt::EventsOf(vek::MakeObject<PlainExchClientExt>(tracer_));
    Subscriber first, second, third, late;
    for (Subscriber* one : {&first, &second, &third})
        ASSERT_EQ(source->Advise(*one, one->connection), S_OK);
    first.act = [&] {
        first.connection.reset();
        second.connection->Unadvise();
        EXPECT_EQ(source->Advise(late, late.connection), S_OK);
        EXPECT_EQ(client->OnRead(nullptr), S_FALSE);
    };
    EXPECT_EQ(client->OnDelivery(nullptr), S_FALSE);
    Subscriber elsewhere;
    const auto other = CExchClientExt::EventsOf(client);
    ASSERT_EQ(other->Advise(elsewhere, elsewhere.connection), S_OK);
    third.act = [&] { source.reset(); };
    client->OnRead(nullptr);
    client->OnRead(nullptr);
    EXPECT_EQ(std::vector({first.told, second.told, third.told, late.told, elsewhere.told}),
              std::vector({1, 0, 3, 1, 2}))
        << "the late one of what came after it subscribed and before its object's end";
    late.connection.reset();
}

}  // namespace
}  // namespace plugins::mail_processing
