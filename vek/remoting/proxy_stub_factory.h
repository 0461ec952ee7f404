#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "vek/core/object.h"
#include "vek/core/ref_ptr.h"
#include "vek/remoting/call.h"
#include "vek/remoting/remote_object.h"

namespace vek::remoting {

class Invocation;

// One method of a remote interface: how its stub calls it.
struct MethodDescription {
    const char* name;
    method_attributes_t attributes;
    // Takes the arguments from the request, calls `object` and sends the reply.
    void (*invoke)(IObject& object, const Invocation& invocation) noexcept;
};

// Makes what stands for one interface on either side. Constant data, made from the interface's
// description (describe.h).
struct ProxyStubFactory {
    static constexpr std::uint32_t kModernVersion = 4;

    interface_id_t interface_id;
    const char* name;
    std::uint32_t version;
    // By method id, from method_id::kFirstOwn on.
    std::span<const MethodDescription> methods;
    // On success `*proxy` implements the interface and has a reference. Raises std::bad_alloc.
    void (*make_proxy)(std::shared_ptr<RemoteObject> object, void** proxy);
};

// The interfaces that may cross a connection. Immutable, shared by any number of connections.
class ProxyStubFactories {
public:
    // The factories must outlive this table; of two for one interface the first counts.
    explicit ProxyStubFactories(std::vector<const ProxyStubFactory*> factories)
        : factories_(std::move(factories)) {
        std::ranges::stable_sort(factories_, {}, &ProxyStubFactory::interface_id);
    }
    // Those of another table, and more.
    ProxyStubFactories(const ProxyStubFactories& others, std::vector<const ProxyStubFactory*> more)
        : ProxyStubFactories([&] {
              more.insert(more.begin(), others.factories_.begin(), others.factories_.end());
              return std::move(more);
          }()) {}

    // Null for an interface that does not travel.
    const ProxyStubFactory* Find(interface_id_t id) const noexcept {
        const auto found =
            std::ranges::lower_bound(factories_, id, {}, &ProxyStubFactory::interface_id);
        return found != factories_.end() && (*found)->interface_id == id ? *found : nullptr;
    }

private:
    std::vector<const ProxyStubFactory*> factories_;  // by ascending id
};

}  // namespace vek::remoting
