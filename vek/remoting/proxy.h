#pragma once

#include <memory>
#include <utility>

#include "vek/core/object.h"
#include "vek/remoting/arguments.h"
#include "vek/remoting/local_interfaces.h"
#include "vek/remoting/remote_object.h"
#include "vek/remoting/special_methods.h"

namespace vek::remoting {

// The base of every proxy of interface I. A method of a proxy returns what the object answered
// or why it could not be asked, leaves the outputs alone on failure (what storage that was to be
// filled holds is undefined then), and raises nothing. It may be called from any thread.
template <class I>
class ProxyBase : public ObjectImpl<I, IProxy> {
public:
    explicit ProxyBase(std::shared_ptr<RemoteObject> object) noexcept
        : object_(std::move(object)) {}

    result_t Resolve(StubAddress& address) noexcept override { return object_->Resolve(address); }

protected:
    // Calls the method `id` with parameters of the types P. A call that a lost peer certainly never
    // got is made once more when the object can be resolved anew.
    template <class... P>
    result_t Call(method_id_t id, method_attributes_t attributes, P... values) noexcept {
        for (bool again = false;; again = true) {
            StubAddress address;
            const result_t resolved = object_->Resolve(address);
            if (Failed(resolved)) return resolved;
            const CallTarget target{address.handle | kStubFlag, I::kInterfaceId, id, attributes};
            ProxyArgumentsOf<P...> arguments(static_cast<P>(values)...);
            bool delivered = true;
            const result_t result = SyncMethodProxy5(address, target, arguments, delivered);
            if (Succeeded(result) || delivered || again || !object_->Recover(address))
                return result;
        }
    }

    RemoteObject& object() const noexcept { return *object_; }

    result_t QueryFurther(interface_id_t id, void** out) noexcept override {
        StubAddress address;
        const result_t resolved = object_->Resolve(address);
        if (Failed(resolved)) return resolved;
        return InternalQueryInterface(address, I::kInterfaceId, id, out);
    }

private:
    const std::shared_ptr<RemoteObject> object_;
};

}  // namespace vek::remoting
