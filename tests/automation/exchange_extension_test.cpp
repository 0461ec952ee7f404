#include "automation/exchange_extension.h"

#include <gtest/gtest.h>
#include <olectl.h>

#include "automation/automation_ids.h"
#include "com/connection_point.h"
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
    using CountedObject::CountedObject;
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
};

struct Listener final : ExchangeEvents {
    Listener(std::string its_name, std::string& its_log) : name(its_name), log(its_log) {}
    void OnDelivery(IExchExtCallback*) noexcept override { log += name + "delivery "; }
    void OnRead(IExchExtCallback*) noexcept override { log += name + "read "; }

    const std::string name;
    std::string& log;
    EventConnectionPtr connection;
};

struct ExchangeConnectionTest : testing::Test {
    ExchangeConnectionTest() {
        EXPECT_EQ(::CoInitialize(nullptr), S_OK);
        EXPECT_EQ(automation::CreateExchangeExtension(source), REGDB_E_CLASSNOTREG);
        DWORD cookie = 0;
        EXPECT_EQ(::CoRegisterClassObject(automation::kExchClientExtClass,
                                          static_cast<IClassFactory*>(extension.get()),
                                          CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie),
                  S_OK);
        EXPECT_EQ(automation::CreateExchangeExtension(source), S_OK);
        EXPECT_EQ(::CoRevokeClassObject(cookie) | Follow(a) | Follow(b), S_OK);
    }
    ~ExchangeConnectionTest() override { ::CoUninitialize(); }
    HRESULT Follow(Listener& listener) { return source->Advise(listener, listener.connection); }

    CallPlan plan;
    std::shared_ptr<Subscribers> subscribers = std::make_shared<Subscribers>(iid::kExchExtEvents);
    automation::ExchangeEventPublisher publisher{subscribers};
    vek::RefPtr<Extension> extension = vek::MakeObject<Extension>(subscribers);
    // Queried and counted alone.
    vek::RefPtr<FakeObject> client =
        vek::MakeObject<FakeObject>(plan, plugins::mapi::iid::kExchExtCallback);
    IExchExtCallback* callback =
        reinterpret_cast<IExchExtCallback*>(static_cast<IDispatch*>(client.get()));
    ExchangeEventSourcePtr source;
    std::string log;
    Listener a{"a:", log}, b{"b:", log};
};

TEST_F(ExchangeConnectionTest, TellsEverySubscriber) {
    publisher.OnDelivery(callback);
    publisher.OnRead(nullptr);  // refused by each
    EXPECT_EQ(a.connection->Unadvise(), S_OK);
    publisher.OnRead(callback);
    EXPECT_EQ(log, "a:delivery b:delivery b:read ");
    EXPECT_EQ(client->AddRef(), 2u) << "a reference was left";
    client->Release();

    vek::RefPtr<IConnectionPoint> point;
    EXPECT_EQ(extension->FindConnectionPoint(IID_IDispatch, point.put()), CONNECT_E_NOCONNECTION);
    ASSERT_EQ(extension->FindConnectionPoint(iid::kExchExtEvents, point.put()), S_OK);
    DWORD cookie = 7;
    EXPECT_EQ(point->Advise(point.get(), &cookie), CONNECT_E_CANNOTCONNECT);
    EXPECT_EQ(point->Unadvise(cookie), CONNECT_E_NOCONNECTION);
}

}  // namespace
