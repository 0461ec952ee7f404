#pragma once

#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <type_traits>
#include <utility>

#include "object_model/object_model.h"

namespace plugins::com {

// The listeners of an object's events, each under a cookie. `Listener` is a pointer or refers to a
// listener as one does, owning it or not. On the thread of the events.
//
// Listeners may come, go and cause further events from within an event: each event is told, in the
// order of their coming, to those who were there when it began and still are when their turn comes.
// The caller of Fire holds the list meanwhile.
template <class Listener>
class Listeners {
public:
    using Cookie = std::uint32_t;

    // Gives the listener's cookie, which no other ever has; 0 when there is none left.
    Cookie Add(Listener listener) {
        if (last_ == std::numeric_limits<Cookie>::max()) return 0;
        listeners_.emplace(last_ + 1, std::move(listener));
        return ++last_;
    }

    // False when there is no such listener.
    bool Remove(Cookie cookie) noexcept {
        // Out of the map before it is released, which may call back.
        return !listeners_.extract(cookie).empty();
    }

    // Removes every listener of which `leaves` is true.
    template <class Leaves>
    void RemoveIf(const Leaves& leaves) noexcept {
        decltype(listeners_) leaving;
        for (auto place = listeners_.begin(); place != listeners_.end();) {
            const auto each = place++;
            if (leaves(each->second)) leaving.insert(listeners_.extract(each));
        }
    }

    // Calls `tell` with each listener.
    template <class Tell>
    void Fire(const Tell& tell) {
        const Cookie last = last_;
        auto place = listeners_.begin();
        while (place != listeners_.end() && place->first <= last) {
            const Cookie cookie = place->first;
            const Listener listener = place->second;
            tell(*listener);
            place = listeners_.upper_bound(cookie);
        }
    }

    bool empty() const noexcept { return listeners_.empty(); }

private:
    Cookie last_ = 0;
    std::map<Cookie, Listener> listeners_;
};

// Adds a listener to a list that the connection keeps alive. One that is not owned outlives the
// connection. Raises std::bad_alloc.
template <class Listener>
mail_processing::EventConnectionPtr Listen(std::shared_ptr<Listeners<Listener>> listeners,
                                           std::type_identity_t<Listener> listener) {
    class Connection final : public mail_processing::EventConnection {
    public:
        Connection(std::shared_ptr<Listeners<Listener>> list, Listener&& added)
            : list_(std::move(list)), cookie_(list_->Add(std::move(added))) {}
        ~Connection() override { list_->Remove(cookie_); }

        HRESULT Unadvise() noexcept override {
            list_->Remove(cookie_);
            return S_OK;
        }

    private:
        const std::shared_ptr<Listeners<Listener>> list_;
        const std::uint32_t cookie_;
    };
    return std::make_unique<Connection>(std::move(listeners), std::move(listener));
}

}  // namespace plugins::com
