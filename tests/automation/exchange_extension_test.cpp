#include "automation/exchange_extension.h"

#include <gtest/gtest.h>
#include <olectl.h>

#include "automation/automation_ids.h"
#include "com/connection_point_win32.h"
#include "outlook/ExchClientExt.h"
#include "tests/automation/fake_object.h"

namespace {

using namespace tests;
using namespace plugins::mail_processing;
using plugins::com::Subscribers;
using plugins::mapi::IExchExtCallback;
namespace iid = automation::iid;

// The extension object and its class object in one.
class Extension final
    : public plugins::com::CountedObject<plugins::com::ConnectionPointContainer, IClassFactory> {
public:
    explicit Extension(
        std::shared_ptr<Subscribers> sinks = std::make_shared<Subscribers>(iid::kExchExtEvents))
        : CountedObject(sinks), publisher_(std::move(sinks)) {
        CExchClientExt::EventsOf(client_side)->Advise(publisher_, connection_);
    }
    const vek::RefPtr<CExchClientExt> client_side = vek::MakeObject<PlainExchClientExt>(nullptr);
    HRESULT WINAPI CreateInstance(IUnknown*, REFIID id, void** out) override {
        return QueryInterface(id, out);
    }
    HRESULT WINAPI LockServer(BOOL) override { return S_OK; }

private:
    void* Find(REFIID id) noexcept override {
        if (id == IID_IClassFactory) return static_cast<IClassFactory*>(this);
        const bool container = id == IID_IConnectionPointContainer || id == iid::kExchExtObject;
        return container ? static_cast<Container*>(this) : nullptr;
    }
    automation::ExchangeEventPublisher publisher_;
    EventConnectionPtr connection_;
};

struct Listener final : ExchangeEvents {
    Listener(const char* its_name, std::string& its_log) : name(its_name), log(its_log) {}
    void OnDelivery(IExchExtCallback*) noexcept override { log.append(name) += "delivery "; }
    void OnRead(IExchExtCallback*) noexcept override { log.append(name) += "read "; }

    const char* const name;
    std::string& log;
    EventConnectionPtr connection;
};

TEST(ExchangeConnection, TellsEverySubscriber) {
    ASSERT_EQ(::CoInitialize(nullptr), S_OK);
    auto extension = vek::MakeObject<Extension>();
    const auto clients = vek::MakeObject<Extension>();
    CExchClientExt& client_side = *clients->client_side;
    ExchangeEventSourcePtr source;
    EXPECT_EQ(automation::CreateExchangeExtension(source), REGDB_E_CLASSNOTREG);
    DWORD cookie = 0;
    ASSERT_EQ(::CoRegisterClassObject(automation::kExchClientExtClass,
                                      static_cast<IClassFactory*>(extension.get()),
                                      CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie),
              S_OK);
    ASSERT_EQ(automation::CreateExchangeExtension(source), S_OK);
    EXPECT_EQ(::CoRevokeClassObject(cookie), S_OK);
    std::string log;
    Listener a{"a:", log}, b{"b:", log};
    for (Listener* each : {&a, &b}) EXPECT_EQ(source->Advise(*each, each->connection), S_OK);

    CallPlan plan;
    const auto client = vek::MakeObject<FakeObject>(plan, plugins::mapi::iid::kExchExtCallback);
    // Queried and counted alone.
    auto* const callback =
        reinterpret_cast<IExchExtCallback*>(static_cast<IDispatch*>(client.get()));
    client_side.OnDelivery(callback);
    client_side.OnRead(nullptr);  // refused by each
    EXPECT_EQ(a.connection->Unadvise(), S_OK);
    client_side.OnRead(callback);
    EXPECT_EQ(log, "a:delivery b:delivery b:read ");

    vek::RefPtr<IConnectionPoint> point;
    EXPECT_EQ(extension->FindConnectionPoint(IID_IDispatch, point.put()), CONNECT_E_NOCONNECTION);
    ASSERT_EQ(extension->FindConnectionPoint(iid::kExchExtEvents, point.put()), S_OK);
    vek::RefPtr<IEnumConnectionPoints> points, rest;
    vek::RefPtr<IConnectionPoint> listed[2];
    ULONG count = 7;
    IID events{};
    ASSERT_EQ(extension->EnumConnectionPoints(points.put()), S_OK);
    EXPECT_EQ(points->Next(2, listed[0].put(), nullptr), E_POINTER);
    EXPECT_EQ(points->Next(2, listed[0].put(), &count), S_FALSE);
    EXPECT_EQ(count, 1u);
    ASSERT_EQ(listed[0]->GetConnectionInterface(&events), S_OK);
    EXPECT_EQ(events, iid::kExchExtEvents);
    EXPECT_EQ(points->Clone(rest.put()) | points->Reset() | points->Skip(1), S_OK);
    EXPECT_EQ(points->Skip(1), S_FALSE);
    EXPECT_EQ(rest->Next(1, listed[1].put(), nullptr), S_FALSE);
    EXPECT_EQ(rest->Reset() | rest->Next(1, listed[1].put(), nullptr), S_OK);
    for (auto& each : listed) each.reset();
    points.reset(), rest.reset();
    EXPECT_EQ(point->Advise(point.get(), &cookie), CONNECT_E_CANNOTCONNECT);
    EXPECT_EQ(point->Unadvise(7), CONNECT_E_NOCONNECTION);
    b.connection.reset();
    source.reset();
    EXPECT_EQ(point->Advise(static_cast<IDispatch*>(client.get()), &cookie), S_OK);
    point.reset();
    extension.reset();
    client_side.OnRead(callback);
    EXPECT_EQ(client->AddRef(), 2u) << "a reference was left";
    client->Release();
    ::CoUninitialize();
}

}  // namespace
