#pragma once

#include <functional>
#include <list>
#include <memory>

#include "outlook/item_event_handler.h"
#include "vek/trace/tracer.h"

namespace plugins::mail_processing {

// The items whose events are followed, each from Attach until it is unloaded. On Outlook's thread;
// entering and leaving take constant time.
class FollowedItems final : public ItemNotifications {
public:
    // `read` is called with an item that is shown; it does not raise.
    FollowedItems(std::function<void(const ItemPtr&)> read, vek::trace::TracerPtr tracer);
    // As Clear.
    ~FollowedItems();
    FollowedItems(const FollowedItems&) = delete;
    FollowedItems& operator=(const FollowedItems&) = delete;

    // Raises helpers::HResultCodeException when the item's events cannot be had.
    void Attach(const ItemPtr& item);

    // Lets go of all items.
    void Clear() noexcept;

    std::size_t size() const noexcept { return handlers_.size(); }

    HRESULT Follow(const std::shared_ptr<ItemEventHandler>& handler,
                   EventConnectionPtr& connection) noexcept override;
    void ItemRead(const ItemPtr& item) noexcept override { read_(item); }

private:
    using Handlers = std::list<std::shared_ptr<ItemEventHandler>>;
    class Subscription;

    const std::function<void(const ItemPtr&)> read_;
    const vek::trace::TracerPtr tracer_;
    Handlers handlers_;
};

}  // namespace plugins::mail_processing
