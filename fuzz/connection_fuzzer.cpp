// Both ends of a conversation with a peer whose every byte is the fuzzer's: service calls, feature
// lists, requests to objects of every remote interface, replies to calls of every one, nested.
//
// The objects behind the stubs are proxies over a second connection, so that whatever arguments
// arrive are sent on, and whatever comes back is passed on in turn.

#include "common/remoting/remote_interfaces.h"
#include "fuzz/fuzzed_peer.h"
#include "private_include/common/mail_scanner.h"

namespace {

using namespace plugins::mail_processing;

class Locator final : public vek::ObjectImpl<vek::IServiceLocator> {
public:
    explicit Locator(fuzz::FuzzedConnection& behind) : behind_(behind) {}
    vek::result_t GetInterface(vek::interface_id_t id, const void*, void** out) noexcept override {
        *out = behind_.ProxyOf(id, 5).detach();
        return *out != nullptr ? vek::result::kOk : vek::result::kNotFound;
    }

private:
    fuzz::FuzzedConnection& behind_;
};

class Master final : public vek::remoting::MasterObject {
public:
    explicit Master(vek::RefPtr<vek::IServiceLocator> locator) : locator_(std::move(locator)) {}
    vek::result_t Lock() noexcept override {
        ++locks;
        return vek::result::kOk;
    }
    void Unlock() noexcept override { --locks; }
    vek::result_t GetServiceLocator(vek::RefPtr<vek::IServiceLocator>& locator) noexcept override {
        locator = locator_;
        return vek::result::kOk;
    }
    int locks = 0;

private:
    vek::RefPtr<vek::IServiceLocator> locator_;
};

vek::remoting::ProtocolFeatures Features(FuzzedDataProvider& input) {
    const auto bits = input.ConsumeIntegralInRange<unsigned>(0, 15);
    const auto bit = [&](unsigned n) { return static_cast<std::uint8_t>(bits >> n & 1); };
    return {bit(0), bit(1), bit(2), bit(3)};
}

void Run(FuzzedDataProvider& input) {
    vek::remoting::ConnectionConfig config;
    config.factories = plugins::remoting::RemoteInterfaces();
    fuzz::FuzzedConnection behind(input, config);
    if (input.ConsumeBool())
        behind.connection->features().SynchronizeWithPeerFeatures(Features(input));

    const auto master = std::make_shared<Master>(vek::MakeObject<Locator>(behind));
    config.master = master;
    {
        fuzz::FuzzedConnection front(input, config);
        if (input.ConsumeBool()) {
            front.connection->features().SynchronizeWithPeerFeatures(Features(input));
            // An object of every interface, for the peer to call.
            for (const vek::interface_id_t id :
                 {vek::IServiceLocator::kInterfaceId, IMailScanner::kInterfaceId,
                  IMailMessage::kInterfaceId, IPropertyProvider::kInterfaceId,
                  IAttachmentsEnum::kInterfaceId, IDataStream::kInterfaceId}) {
                const auto object = behind.ProxyOf(id, 9);
                vek::remoting::stub_handle_t handle;
                static_cast<void>(
                    front.connection->registry().CreateStub(id, object.get(), handle));
            }
        }
        if (input.ConsumeBool()) {
            vek::RefPtr<vek::IServiceLocator> locator;
            static_cast<void>(front.connection->GetServiceLocator(locator));
            vek::RefPtr<vek::IObject> service;
            if (locator) {
                static_cast<void>(
                    input.ConsumeBool()
                        ? locator->QueryInterface(IMailMessage::kInterfaceId, service.put_void())
                        : locator->GetInterface(IMailMessage::kInterfaceId, nullptr,
                                                service.put_void()));
            }
        }
        while (input.remaining_bytes() > 0 && front.connection->IsOpen()) front.peer->Ask();
    }
    fuzz::Require(master->locks == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::uint32_t alive = vek::LiveObjectCount();
    {
        FuzzedDataProvider input(data, size);
        Run(input);
    }
    fuzz::Require(vek::LiveObjectCount() == alive);
    return 0;
}
