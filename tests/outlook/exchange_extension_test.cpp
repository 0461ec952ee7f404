#include "outlook/ExchClientExt.h"

#include "tests/outlook/addin_fixture.h"

namespace plugins::mail_processing {
namespace {

using ExchangeExtensionTest = AddinFixture;

TEST_F(ExchangeExtensionTest, StaysInSessionsAndWindowsOfItsBuildAlone) {
    const std::string install = "700 plugins::mail_processing::CExchClientExt::Install";
    struct {
        ULONG context, version;
        HRESULT result;
        std::string name, reason;
    } const table[] = {
        {1, 0x000D0000, S_OK, "EECONTEXT_SESSION", ""},
        {2, 0x000DFFFF, S_FALSE, "EECONTEXT_VIEWER", " not installed. eecontext: 2"},
        {6, 0x000D0000, S_OK, "EECONTEXT_SENDNOTEMESSAGE", ""},
        {12, 0x000D0001, S_OK, "EECONTEXT_PROPERTYSHEETS", ""},
        {13, 0x000D0000, S_FALSE, "EECONTEXT_ADVANCEDCRITERIA", " not installed. eecontext: 13"},
        {15, 0x000D0000, S_FALSE, "UNKNOWN", " not installed. eecontext: 15"},
        {1, 0x000E0000, S_FALSE, "EECONTEXT_SESSION", " not installed. version: 0x000e0000"}};
    const auto callback = Callback(entry_id_);
    const auto extension = vek::MakeObject<CExchClientExt>(tracer_);
    for (const auto& row : table) {
        host_->model()->client_build = row.version;
        EXPECT_EQ(extension->Install(callback.get(), row.context, 0), row.result);
        const auto lines = tracer_->lines();
        const std::string context = install + " context: " + row.name;
        EXPECT_EQ(lines.back(), row.reason.empty() ? context : install + row.reason);
        EXPECT_EQ(lines.at(lines.size() - (row.reason.empty() ? 1 : 2)), context);
    }
    Fail(ObjectCall::kExtVersion, E_ACCESSDENIED);
    EXPECT_EQ(extension->Install(callback.get(), 1, 0), E_ACCESSDENIED);

    vek::RefPtr<IUnknown> found;
    for (const IID* id : {&mapi::iid::kUnknown, &mapi::iid::kExchExt,
                          &mapi::iid::kExchExtSessionEvents, &mapi::iid::kExchExtMessageEvents})
        EXPECT_EQ(extension->QueryInterface(*id, found.put_void()), S_OK);
    EXPECT_EQ(static_cast<mapi::IExchExtMessageEvents*>(found.get())->OnSubmit(nullptr), S_FALSE);
}

struct Subscriber final : ExchangeEvents {
    void OnDelivery(mapi::IExchExtCallback*) noexcept override { ++told, act(); }
    void OnRead(mapi::IExchExtCallback*) noexcept override { ++told, act(); }
    int told = 0;
    std::function<void()> act = [] {};
    EventConnectionPtr connection;
};

TEST_F(ExchangeExtensionTest, SubscribersMayComeAndGoWithinAnEvent) {
    auto extension = vek::MakeObject<CExchClientExt>(tracer_);
    auto* const client = extension.get();
    ExchangeEventSourcePtr source = CExchClientExt::EventsOf(std::move(extension));
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
    third.act = [&] { source.reset(); };
    client->OnRead(nullptr);
    EXPECT_EQ(std::vector({first.told, second.told, third.told, late.told}),
              std::vector({1, 0, 3, 2}))
        << "the late one of what came after it subscribed";
}

}  // namespace
}  // namespace plugins::mail_processing
