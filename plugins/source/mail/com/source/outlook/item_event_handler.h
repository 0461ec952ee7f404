#pragma once

#include <memory>

#include "object_model/object_model.h"
#include "vek/trace/tracer.h"

namespace plugins::mail_processing {

class ItemEventHandler;

// Is told of the events of items; the add-in implements it.
class ItemNotifications {
public:
    // Connects this to the notifications of `handler`, which the connection keeps alive. Ending it
    // may be the end of the handler.
    virtual HRESULT Follow(const std::shared_ptr<ItemEventHandler>& handler,
                           EventConnectionPtr& connection) noexcept = 0;
    // The item is shown.
    virtual void ItemRead(const ItemPtr& item) noexcept = 0;

protected:
    ~ItemNotifications() = default;
};

// Passes the events of one item on to its owner, until the item is unloaded. On Outlook's thread;
// each operation may come from within an event. Held by shared_ptr alone.
class ItemEventHandler final : public ItemEvents,
                               public std::enable_shared_from_this<ItemEventHandler> {
public:
    explicit ItemEventHandler(vek::trace::TracerPtr tracer) noexcept;
    // As Unadvise.
    ~ItemEventHandler();
    ItemEventHandler(const ItemEventHandler&) = delete;
    ItemEventHandler& operator=(const ItemEventHandler&) = delete;

    // Connects to the events of `source` and `owner` to this. On failure nothing stays connected,
    // and the code is that of the call that failed. `owner` outlives the connection.
    HRESULT Advise(ItemNotifications& owner, const ItemPtr& source) noexcept;

    // Ends both, even when one of them fails, and lets go of owner and source. The code of the
    // first that fails.
    HRESULT Unadvise() noexcept;

    // Until Unadvise, or the item's end.
    bool is_advised() const noexcept { return source_ != nullptr; }

    void OnRead() noexcept override;
    void OnUnload() noexcept override;

private:
    const vek::trace::TracerPtr tracer_;
    ItemNotifications* owner_ = nullptr;
    ItemPtr source_;  // null unless advised
    EventConnectionPtr owner_connection_;
    EventConnectionPtr source_connection_;
};

// Has an item followed for `owner` by a handler that its connection keeps. As Advise.
HRESULT AdviseItem(ItemNotifications& owner, const ItemPtr& item,
                   const vek::trace::TracerPtr& tracer) noexcept;

}  // namespace plugins::mail_processing
