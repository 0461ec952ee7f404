#include "vek/remoting/proxy_stub_factory.h"

#include <algorithm>

namespace vek::remoting {
namespace {

interface_id_t IdOf(const ProxyStubFactory* factory) noexcept { return factory->interface_id; }

}  // namespace

ProxyStubFactories::ProxyStubFactories(std::vector<const ProxyStubFactory*> factories)
    : factories_(std::move(factories)) {
    std::ranges::stable_sort(factories_, {}, IdOf);
}

const ProxyStubFactory* ProxyStubFactories::Find(interface_id_t id) const noexcept {
    const auto found = std::ranges::lower_bound(factories_, id, {}, IdOf);
    return found != factories_.end() && IdOf(*found) == id ? *found : nullptr;
}

}  // namespace vek::remoting
