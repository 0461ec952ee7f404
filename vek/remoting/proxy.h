#pragma once

#include <memory>
#include <utility>

#include "vek/core/object.h"
#include "vek/remoting/arguments.h"
#include "vek/remoting/local_interfaces.h"
#include "vek/remoting/remote_object.h"
#include "vek/remoting/special_methods.h"

namespace vek::remoting {

// What every proxy of interface I is built on. A method of a proxy returns what the object answered
// or why it could not be asked, leaves the outputs alone on failure, and raises nothing. It may be
// called from any thread.
template <class I>
class ProxyBase : public ObjectImpl<I, IProxy> {
public:
    explicit ProxyBase(std::shared_ptr<RemoteObject> object) noexcept
        : object_(std::move(object)) {}

    result_t Reach(Place& place) noexcept override { return object_->Reach(place); }

protected:
    // Calls the method `id` with parameters of the types P. A call that a lost peer certainly never
    // got is made once more when the object can be reached anew.
    template <class... P>
    result_t Call(method_id_t id, method_attributes_t attributes, P... arguments) noexcept {
        for (bool again = false;; again = true) {
            Place place;
            const result_t reached = object_->Reach(place);
            if (Failed(reached)) return reached;
            const CallTarget target{place.handle | kStubFlag, I::kInterfaceId, id, attributes};
            SentArguments<P...> sent(static_cast<P>(arguments)...);
            bool delivered = true;
            const result_t result = SyncMethodProxy5(place, target, sent, delivered);
            if (Succeeded(result) || delivered || again || !object_->Recover(place)) return result;
        }
    }

    RemoteObject& object() const noexcept { return *object_; }

    result_t QueryFurther(interface_id_t id, void** out) noexcept override {
        Place place;
        const result_t reached = object_->Reach(place);
        if (Failed(reached)) return reached;
        return InternalQueryInterface(place, I::kInterfaceId, id, out);
    }

private:
    const std::shared_ptr<RemoteObject> object_;
};

}  // namespace vek::remoting
