#pragma once

#include <functional>
#include <memory>
#include <unordered_set>

#include "outlook/item_event_handler.h"
#include "vek/trace/tracer.h"

namespace plugins::mail_processing {

// How an item is followed: by AdviseItem, or by what stands for it.
using ItemAdviser = std::function<HRESULT(ItemNotifications& owner, const ItemPtr& item,
                                          const vek::trace::TracerPtr& tracer)>;

// The items whose events are followed, each from Attach until it is unloaded. On Outlook's thread;
// entering and leaving take constant time.
class FollowedItems final : public ItemNotifications {
public:
    // `read` is called with an item that is shown; it does not raise. `advise` connects to an item,
    // as AdviseItem.
    FollowedItems(std::function<void(const ItemPtr&)> read, vek::trace::TracerPtr tracer,
                  ItemAdviser advise);
    // As Clear.
    ~FollowedItems();
    FollowedItems(const FollowedItems&) = delete;
    FollowedItems& operator=(const FollowedItems&) = delete;

    // Raises helpers::HResultCodeException when the item's events cannot be had.
    void Attach(const ItemPtr& item);

    // Lets go of all items.
    void Clear() noexcept;

    HRESULT Follow(const std::shared_ptr<ItemEventHandler>& handler,
                   EventConnectionPtr& connection) noexcept override;
    void ItemRead(const ItemPtr& item) noexcept override { read_(item); }

private:
    using Handlers = std::unordered_set<std::shared_ptr<ItemEventHandler>>;
    class Subscription;

    const std::function<void(const ItemPtr&)> read_;
    const vek::trace::TracerPtr tracer_;
    const ItemAdviser advise_;
    // A subscription may end behind this.
    const std::shared_ptr<Handlers> handlers_ = std::make_shared<Handlers>();
};

}  // namespace plugins::mail_processing
