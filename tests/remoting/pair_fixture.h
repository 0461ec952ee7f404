#pragma once

#include <gmock/gmock.h>

#include "tests/remoting/loopback.h"
#include "tests/support/recording_tracer.h"
#include "vek/remoting/describe.h"

namespace tests {

using vek::RefPtr;
using vek::result_t;
namespace remoting = vek::remoting;
namespace result = vek::result;

// Offers one object as every service it has.
class OneServiceLocator final : public vek::ObjectImpl<vek::IServiceLocator> {
public:
    explicit OneServiceLocator(RefPtr<vek::IObject> service) : service_(std::move(service)) {}
    result_t GetInterface(vek::interface_id_t id, const void*, void** out) noexcept override {
        return service_ ? service_->QueryInterface(id, out) : result::kNotFound;
    }

private:
    RefPtr<vek::IObject> service_;
};

class TestMaster final : public remoting::MasterObject {
public:
    explicit TestMaster(RefPtr<vek::IObject> service)
        : locator_(vek::MakeObject<OneServiceLocator>(std::move(service))) {}
    result_t Lock() noexcept override {
        ++locks;
        return lock_result;
    }
    void Unlock() noexcept override { --locks; }
    result_t GetServiceLocator(RefPtr<vek::IServiceLocator>& locator) noexcept override {
        if (vek::Succeeded(locator_result)) locator = locator_;
        return locator_result;
    }

    std::atomic<int> locks = 0;
    result_t lock_result = result::kOk;
    result_t locator_result = result::kOk;

private:
    RefPtr<vek::IServiceLocator> locator_;
};

// A client and a server, joined, whose features are not agreed yet.
struct Pair {
    Pair(std::shared_ptr<const remoting::ProxyStubFactories> factories,
         RefPtr<vek::IObject> service, remoting::ProtocolFeatures client_features = {1, 1, 1, 1},
         std::function<std::unique_ptr<remoting::SequenceGenerator>()> generator = {}) {
        remoting::ConnectionConfig config;
        config.factories = std::move(factories);
        config.features = client_features;
        config.tracer = client_trace;
        config.on_closed = [this](result_t reason) { client_closed = reason; };
        EXPECT_EQ(remoting::Connection::Create(config, client), result::kOk);
        config.features = remoting::kAllFeatures;
        config.tracer = server_trace;
        config.master = master = std::make_shared<TestMaster>(std::move(service));
        config.make_generator = std::move(generator);
        config.on_closed = [this](result_t reason) { server_closed = reason; };
        EXPECT_EQ(remoting::Connection::Create(config, server), result::kOk);
        Join();
    }
    ~Pair() {
        client->Close(result::kOk);
        server->Close(result::kOk);
    }

    void Join() {
        const auto own = std::make_shared<Loopback>(client);
        const auto other = std::make_shared<Loopback>(server);
        Loopback::Join(own, other);
        client->Attach(client_wire = own);
        server->Attach(server_wire = other);
    }

    // The service, as the client sees it.
    template <class I>
    RefPtr<I> Service() {
        RefPtr<vek::IServiceLocator> locator;
        RefPtr<I> service;
        EXPECT_EQ(client->GetServiceLocator(locator), result::kOk);
        if (locator) {
            EXPECT_EQ(locator->GetInterface(I::kInterfaceId, nullptr, service.put_void()),
                      result::kOk);
        }
        return service;
    }

    // Hands raw call data to the server and gives the raw reply data.
    result_t Raw(const remoting::CallTarget& target, const byte_vector& data, byte_vector& reply) {
        remoting::Rope rope;
        rope.Append(data);
        remoting::Reply raw;
        const result_t result = client->sender().SendReceive(target, rope, raw);
        reply.assign(raw.data.begin(), raw.data.end());
        return result;
    }

    std::shared_ptr<RecordingTracer> client_trace = std::make_shared<RecordingTracer>(800);
    std::shared_ptr<RecordingTracer> server_trace = std::make_shared<RecordingTracer>(800);
    std::shared_ptr<TestMaster> master;
    std::shared_ptr<remoting::Connection> client;
    std::shared_ptr<remoting::Connection> server;
    std::shared_ptr<Loopback> client_wire;
    std::shared_ptr<Loopback> server_wire;
    std::atomic<result_t> client_closed = result::kFalse;
    std::atomic<result_t> server_closed = result::kFalse;
};

}  // namespace tests
