#include "product/clamd/host_names.h"

#include <system_error>
#include <thread>
#include <utility>

#include "vek/platform/ansi_text.h"

namespace reference_product {
namespace {

constexpr std::chrono::minutes kKnown{1};

// A question that is older got lost for want of memory, or the system is unusually slow.
constexpr std::chrono::seconds kPatience{30};

}  // namespace

HostNames::HostNames(asio::io_context& io, vek::platform::Clock& clock)
    : io_(io), clock_(clock), owner_(std::make_shared<Owner>()) {
    owner_->names = this;
}

HostNames::~HostNames() {
    const std::lock_guard guard(owner_->lock);
    owner_->names = nullptr;
}

void HostNames::Find(const std::string& host, Found found) {
    asio::error_code error;
    const asio::ip::address number = asio::ip::make_address(host, error);
    if (!error) return found({number}, {});
    Name& name = names_[host];
    if (!name.addresses.empty() && clock_.AwakeTime() - name.since < kKnown)
        return found(name.addresses, {});
    name.waiting.push_back(std::move(found));
    const auto now = clock_.AwakeTime();
    if (name.waiting.size() != 1 && now - name.asked < kPatience) return;
    name.asked = now;
    try {
        std::thread(Ask, owner_, host).detach();
    } catch (const std::system_error& failure) {
        Answer(host, {}, failure.what());
    }
}

void HostNames::Ask(const std::shared_ptr<Owner>& owner, const std::string& host) noexcept try {
    asio::io_context io;
    asio::error_code error;
    const auto found =
        asio::ip::tcp::resolver(io).resolve(host, "", asio::ip::resolver_base::flags(), error);
    Addresses addresses;
    for (const auto& entry : found) addresses.push_back(entry.endpoint().address());
    const std::lock_guard guard(owner->lock);
    if (owner->names == nullptr) return;
    asio::post(owner->names->io_, [names = owner->names, host, addresses, error] {
        names->Answer(
            host, addresses,
            "the host's name is not known, " + vek::platform::AnsiToUtf8(error.message()));
    });
} catch (...) {
    // Those who wait have their deadlines, and the next ones ask again after a while.
}

void HostNames::Answer(const std::string& host, Addresses addresses, const std::string& trouble) {
    Name& name = names_[host];
    name.addresses = std::move(addresses);
    name.since = clock_.AwakeTime();
    const Addresses found = name.addresses;
    for (const Found& waiting : std::exchange(name.waiting, {})) waiting(found, trouble);
}

}  // namespace reference_product
