#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <memory>
#include <thread>

#include "common/loader/product_loader.h"
#include "common/remoting/remote_interfaces.h"
#include "product/in_process_product.h"
#include "product/mail_scanner.h"
#include "tests/remoting/pair_fixture.h"
#include "tests/support/fake_clock.h"
#include "tests/support/fake_settings.h"
#include "tests/support/installed_product.h"
#include "tests/support/recording_tracer.h"
#include "tests/support/wait_until.h"
#include "vek/platform/process.h"
#include "vek/platform/thread.h"
#include "vek/remoting/server.h"

namespace {

using namespace plugins;
namespace result = vek::result;
using mail_processing::IMailScanner;
using product_info::ProductProcess;
using product_info::RemoteAddress;
using reference_product::InProcessProduct;
using vek::result_t;
using View = std::string_view;

// The answer of each step on the way to the product.
struct Plan {
    std::string path = tests::Utf8(std::filesystem::absolute("product_info"));
    bool library = true, exported = true;
    result_t factory = 0, object = 0, address = 0, connected = 0, value = result::kNotFound;
    // Whether success gives something.
    bool gives_factory = true, gives_object = true, gives_locator = true;
    RemoteAddress where{42, 0, 0, 7};
    bool raises = false;
};

vek::RefPtr<InProcessProduct> NewProduct() {
    return vek::MakeObject<InProcessProduct>(vek::MakeObject<reference_product::ScriptedScanner>(
        [](bool, mail_processing::IMailMessage&) { return result::kOk; }));
}

// The product of a plan. The library's export has no context: it serves `current`.
struct Product final : vek::platform::LibraryLoader {
    explicit Product(Plan wanted) { Install(std::move(wanted)); }
    void Install(Plan wanted) {
        current = this;
        plan = std::move(wanted);
        installed.Move(plan.path);
        clock.ticks += 30'000;
    }

    struct Loaded final : vek::platform::Library {
        Loaded() { ++current->libraries; }
        ~Loaded() override { --current->libraries; }
        Symbol Find(const char* name) const noexcept override {
            const bool exported = current->plan.exported && name == View("vekGetObjectFactory");
            return exported ? reinterpret_cast<Symbol>(&GetFactory) : nullptr;
        }
        Symbol FindOrdinal(std::uint16_t) const noexcept override { return nullptr; }
    };
    std::unique_ptr<vek::platform::Library> Load(View path) override {
        ++loads;
        return plan.library && path == plan.path ? std::make_unique<Loaded>() : nullptr;
    }

    struct Values final : vek::ObjectImpl<product_info::IProductValues> {
        result_t GetValue(const char*, char*, std::uint32_t, std::uint32_t*) noexcept override {
            return current->plan.value;
        }
    };
    struct Info final : vek::ObjectImpl<product_info::IObjectFactory, product_info::IRemoteObject> {
        ~Info() override { EXPECT_GT(current->libraries, 0); }  // its code is in there
        result_t CreateObject(const char* name, vek::interface_id_t id,
                              void** object) noexcept override {
            if (name == View("product_info"))
                return vek::MakeObject<Values>()->QueryInterface(id, object);
            if (name != View("ai_loader_remote_object")) return result::kInvalidArgument;
            const bool gives = vek::Succeeded(current->plan.object) && current->plan.gives_object;
            return gives ? QueryInterface(id, object) : current->plan.object;
        }
        result_t GetAddress(RemoteAddress* address) noexcept override {
            *address = current->plan.where;
            return current->plan.address;
        }
    };
    static result_t GetFactory(vek::interface_id_t id, void** factory) {
        const bool gives = vek::Succeeded(current->plan.factory) && current->plan.gives_factory;
        return gives ? vek::MakeObject<Info>()->QueryInterface(id, factory) : current->plan.factory;
    }

    vek::RefPtr<ILoader> MakeLoader() {
        return vek::MakeObject<loader::ProductLoader>(
            product_info::LibraryEnvironment{*this, installed, tracer, keeper, clock},
            [this](const ProductProcess& process, const loader::PeerWatchPtr&,
                   loader::ProductConnection& connection) {
                ++connects;
                EXPECT_EQ(process.address.local_id, plan.where.local_id);
                if (const auto during = std::exchange(during_connect, {})) during();
                while (silent && vek::remoting::CallScope::Current()->left().count() != 0)
                    std::this_thread::yield();
                if (plan.raises) throw std::bad_alloc();
                if (plan.gives_locator) connection.locator = NewProduct();
                const auto answers = std::make_shared<std::atomic<bool>>(true);
                if (mute) {
                    const auto lose = [=](auto&) { return *answers = false, result::kNotReady; };
                    connection.locator = vek::MakeObject<tests::OneServiceLocator>(
                        vek::RefPtr<vek::IObject>(vek::MakeObject<tests::FakeSettings>(lose)));
                }
                const std::shared_ptr<void> end(
                    nullptr, [this](void*) { on_lost ? std::exchange(on_lost, {})() : void(); });
                connection.is_alive = [this, end, answers] { return alive && *answers; };
                connection.was_silent = [this] { return silent.load(); };
                connection.retire = [this] { alive = false; };
                return silent ? result::kNotReady : plan.connected;
            },
            loader::LoaderTimes{{}, std::chrono::milliseconds{20}, std::chrono::milliseconds{50}});
    }

    static inline Product* current;
    Plan plan;
    std::function<void()> during_connect, on_lost;
    tests::InstalledAt installed{""};
    std::shared_ptr<tests::RecordingTracer> tracer = std::make_shared<tests::RecordingTracer>();
    std::atomic<int> libraries{0}, loads{0}, connects{0};
    tests::FakeClock clock;
    std::shared_ptr<product_info::LibraryKeeper> keeper =
        std::make_shared<product_info::LibraryKeeper>();
    std::atomic<bool> alive{true};
    std::atomic<bool> mute{false};    // it connects, and answers nothing more
    std::atomic<bool> silent{false};  // it does not answer, or has not done so any more
};

// The scanner tells the connections apart.
std::pair<result_t, vek::RefPtr<IMailScanner>> Ask(ILoader& loader) {
    vek::RefPtr<IServiceLocator> locator;
    vek::RefPtr<IMailScanner> scanner;
    result_t code = loader.GetInterface(0x68E33FCA, locator.put_void());
    EXPECT_EQ(vek::Succeeded(code), static_cast<bool>(locator));
    if (locator)
        code = locator->GetInterface(IMailScanner::kInterfaceId, nullptr, scanner.put_void());
    return {code, scanner};
}

TEST(ProductLoader, NamesEachFailureAndConnectsOnceItIsMended) {
    const struct {
        void (*spoil)(Plan&);
        result_t expected;
    } kCases[] = {
        {[](Plan& plan) { plan.path = ""; }, result::kNotFound},
        {[](Plan& plan) { plan.path = "product_info"; }, result::kInvalidArgument},
        {[](Plan& plan) { plan.library = false; }, 0x80010112},
        {[](Plan& plan) { plan.exported = false; }, 0x80010107},
        {[](Plan& plan) { plan.factory = 0x80000001; }, result::kInvalidVersion},
        {[](Plan& plan) { plan.factory = result::kAccessDenied; }, result::kAccessDenied},
        {[](Plan& plan) { plan.gives_factory = false; }, result::kUnexpected},
        {[](Plan& plan) { plan.object = result::kMethodNotFound; }, result::kMethodNotFound},
        {[](Plan& plan) { plan.gives_object = false; }, result::kUnexpected},
        {[](Plan& plan) { plan.address = 0x80000063; }, 0x80000063},
        {[](Plan& plan) { plan.value = result::kInvalidType; }, result::kInvalidType},
        {[](Plan& plan) { plan.path = "\\\\server\\product_info"; }, result::kInvalidArgument},
        {[](Plan& plan) { plan.where.local_id = 0; }, result::kUnexpected},
        {[](Plan& plan) { plan.connected = result::kRemoteCallFailed; }, result::kRemoteCallFailed},
        {[](Plan& plan) { plan.gives_locator = false; }, result::kUnexpected},
        {[](Plan& plan) { plan.raises = true; }, result::kOutOfMemory},
    };
    for (const auto& row : kCases) {
        SCOPED_TRACE(&row - kCases);
        Plan plan;
        row.spoil(plan);
        Product product(plan);
        auto loader = product.MakeLoader();
        for (int attempt = 0; attempt < 2; ++attempt) EXPECT_EQ(Ask(*loader).first, row.expected);
        EXPECT_LE(product.loads, 1);
        product.Install({});
        EXPECT_EQ(Ask(*loader).first, result::kOk);
        EXPECT_EQ(product.tracer->Count("300 Product is not reached: "), 2u);
        EXPECT_EQ(product.tracer->Count("SystemException") > 0, vek::Facility(row.expected) == 1);
        product.Install({""});
        EXPECT_EQ(Ask(*product.MakeLoader()).first, result::kNotFound);
        EXPECT_EQ(product.libraries, 0);
    }
}

TEST(ProductLoader, TriesALibraryThatCannotBeLoadedSeldom) {
    Plan missing;
    missing.library = false;
    Product product(missing);
    const auto loads = [&](std::uint32_t later) {
        product.clock.ticks += later;
        EXPECT_TRUE(vek::Failed(Ask(*product.MakeLoader()).first));
        return product.loads.load();
    };
    EXPECT_EQ(loads(0), 1);
    EXPECT_EQ(loads(29'999), 1);
    EXPECT_EQ(loads(1), 2);
    product.installed.Move(missing.path);  // written again, which an environment does not tell
    constexpr int kLoads = std::filesystem::path::preferred_separator == '/' ? 2 : 3;
    EXPECT_EQ(loads(0), kLoads);
    product.installed.Move("");
    EXPECT_EQ(loads(0), kLoads);
    product.plan.library = true;
    product.installed.Move(missing.path);
    EXPECT_EQ(Ask(*product.MakeLoader()).first, result::kOk);
    EXPECT_EQ(product.loads, kLoads + 1);
}

TEST(ProductLoader, KeepsItsConnectionWhileThatIsAlive) {
    Product product({});
    const auto loader = product.MakeLoader();
    void* object = &product;
    EXPECT_EQ(loader->GetInterface(0x492B374D, &object), result::kNotFound);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(loader->GetInterface(0x68E33FCA, nullptr), result::kInvalidArgument);
    EXPECT_EQ(product.connects, 0);

    const auto first = Ask(*loader).second;
    EXPECT_EQ(product.loads, 1);
    product.plan.address = result::kNotReady;  // not asked while the connection is alive
    EXPECT_EQ(Ask(*loader).second, first);
    EXPECT_EQ(product.connects, 1);

    loader::ServiceAccess services(
        [&](vek::RefPtr<ILoader>& made) { return made = loader, result::kOk; });
    EXPECT_EQ(services.RequireService<IMailScanner>(), first);
    services.Forget();
    EXPECT_EQ(Ask(*loader).first, result::kNotReady);
    product.plan.address = result::kOk;
    product.alive = true;
    EXPECT_NE(Ask(*loader).second, first);
    EXPECT_EQ(product.connects, 2);
}

TEST(ServiceAccess, EndsTheRoadOnceAtATime) {
    struct Road final : vek::ObjectImpl<ILoader, loader::IProductRoad> {
        result_t GetInterface(vek::interface_id_t, void**) noexcept override {
            return result::kNotFound;
        }
        void Hasten() noexcept override {}
        void Forget() noexcept override {}
        void End() noexcept override {
            EXPECT_EQ(++within, 1);
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            --within;
        }
        std::atomic<int> within{0};
    };
    loader::ServiceAccess services(
        [](vek::RefPtr<ILoader>& made) { return made = vek::MakeObject<Road>(), result::kOk; });
    void* none = nullptr;
    EXPECT_EQ(services.GetService(IMailScanner::kInterfaceId, &none), result::kNotFound);
    const auto other = std::async(std::launch::async, [&] { services.End(); });
    services.Drop();
}

TEST(ProductLoader, TwoThatConnectAtOnceShareTheConnectionThatIsThereFirst) {
    Product product({});
    const auto loader = product.MakeLoader();
    vek::RefPtr<IMailScanner> earlier;
    product.during_connect = [&] { earlier = Ask(*loader).second; };
    EXPECT_EQ(Ask(*loader).second, earlier);
    EXPECT_EQ(Ask(*loader).second, earlier);
    EXPECT_EQ(product.connects, 2);
}

TEST(ProductLoader, IsFreeForOthersWhileALostConnectionGoes) {
    Product product({});
    const auto loader = product.MakeLoader();
    std::future<void> other;
    product.on_lost = [&] {
        other = std::async(std::launch::async, [&] { Ask(*loader); });
        EXPECT_EQ(other.wait_for(std::chrono::seconds(5)), std::future_status::ready);
    };
    product.during_connect = [&] { Ask(*loader), product.alive = false; };
    Ask(*loader);
    EXPECT_TRUE(other.valid());
}

TEST(ProductLoader, LeavesASilentProductToAThreadOfItsOwn) {
    using std::chrono::milliseconds;
    const auto ask = [](ILoader& loader, milliseconds limit) {
        const vek::remoting::EventScope event(milliseconds{500});
        const auto start = std::chrono::steady_clock::now();
        const result_t code = Ask(loader).first;
        EXPECT_LT(std::chrono::steady_clock::now() - start, limit);
        return code;
    };
    for (const bool was_connected : {false, true}) {
        Product product({});
        const auto loader = product.MakeLoader();
        if (was_connected) {
            EXPECT_EQ(Ask(*loader).first, result::kOk);
        }
        product.silent = true;
        product.alive = false;
        if (!was_connected) {
            EXPECT_EQ(ask(*loader, milliseconds{3000}), result::kNotReady);
        }
        // As often as it is tried in the background, nobody waits for that.
        const auto fails_at_once = [&] {
            EXPECT_TRUE(tests::WaitUntil([&, before = product.connects.load()] {
                EXPECT_EQ(ask(*loader, milliseconds{450}), result::kRemoteCallFailed);
                return product.connects >= before + 2;
            }));
        };
        fails_at_once();
        product.mute = product.alive = true;  // which is not to be back either
        product.silent = false;
        fails_at_once();
        product.mute = false;
        EXPECT_TRUE(tests::WaitUntil([&] { return vek::Succeeded(Ask(*loader).first); }));

        product.silent = true;  // its end stops the attempts, and lets the next call make one
        product.alive = false;
        EXPECT_EQ(ask(*loader, milliseconds{90}), result::kRemoteCallFailed);
        vek::RefPtr<loader::IProductRoad> road;
        ASSERT_EQ(loader->QueryInterface(loader::IProductRoad::kInterfaceId, road.put_void()), 0u);
        road->End();
        const int ended = product.connects;
        std::this_thread::sleep_for(milliseconds{60});
        EXPECT_EQ(product.connects, ended);
        EXPECT_EQ(ask(*loader, milliseconds{1000}), result::kNotReady);
        EXPECT_EQ(product.connects, ended + 1);
        road->End();
    }
}

struct Master final : vek::remoting::MasterObject {
    result_t Lock() noexcept override { return result::kOk; }
    void Unlock() noexcept override {}
    result_t GetServiceLocator(vek::RefPtr<IServiceLocator>& locator) noexcept override {
        return locator = NewProduct(), result::kOk;
    }
};

TEST(RemoteConnector, TalksToTheProcessOfTheAddressAlone) {
    const std::uint32_t own = vek::platform::CurrentProcessId();
    vek::remoting::ServerConfig config;
    config.endpoint.local_id = own;
    config.connection.factories = remoting::RemoteInterfaces();
    config.connection.master = std::make_shared<Master>();
    std::unique_ptr<vek::remoting::Server> server;
    ASSERT_EQ(vek::remoting::Server::Start(std::move(config), server), result::kOk);
    const auto connect = loader::RemoteConnector(nullptr);
    const auto watch = std::make_shared<vek::remoting::PeerWatch>();
    loader::ProductConnection connection, other;
    const std::string program = vek::platform::ProgramOfProcess(own);
    const RemoteAddress here{own, 0, 0, own}, process_not_said{own, 0, 0, 0};
    EXPECT_TRUE(vek::Failed(connect({{own, 0, 0, own + 1}}, watch, other)));
    EXPECT_TRUE(vek::Failed(connect({here, "", program + ".other"}, watch, other)));
    EXPECT_EQ(connect({process_not_said}, watch, other), result::kOk);
    EXPECT_EQ(connect({here, "", program}, watch, connection), result::kOk);
    EXPECT_TRUE(connection.locator && connection.is_alive());
    server.reset();
    EXPECT_TRUE(tests::WaitUntil([&] { return !connection.is_alive(); }));
}

}  // namespace
