#include "outlook/item_event_handler.h"

#include <string_view>
#include <utility>

#include "com/border.h"
#include "vek/trace/line.h"

namespace plugins::mail_processing {

namespace trace = vek::trace;

ItemEventHandler::ItemEventHandler(trace::TracerPtr tracer) noexcept : tracer_(std::move(tracer)) {}

ItemEventHandler::~ItemEventHandler() { Unadvise(); }

HRESULT ItemEventHandler::Advise(ItemNotifications& owner, const ItemPtr& source) noexcept {
    const auto self = shared_from_this();
    source_ = source;
    EventConnectionPtr events;
    if (const HRESULT result = source->Advise(*this, events); FAILED(result)) {
        source_.reset();
        trace::Write(tracer_, trace::level::kError,
                     "ItemEventHandler: advise to events failed, hr=", trace::Hex(result));
        return result;
    }
    if (source_ == nullptr) return S_OK;  // unloaded from within the call

    EventConnectionPtr notifications;
    if (const HRESULT result = owner.Follow(self, notifications); FAILED(result)) {
        source_.reset();
        trace::Write(tracer_, trace::level::kError,
                     "ItemEventHandler: owner advise failed, hr=", trace::Hex(result),
                     ", unadvising from events..");
        if (events) events->Unadvise();
        return result;
    }
    owner_ = &owner;
    source_connection_ = std::move(events);
    owner_connection_ = std::move(notifications);
    return S_OK;
}

HRESULT ItemEventHandler::Unadvise() noexcept {
    const auto self = weak_from_this().lock();  // none in the destructor
    const auto end = [&](EventConnectionPtr connection, std::string_view failure) {
        const HRESULT result = connection ? connection->Unadvise() : S_OK;
        if (FAILED(result))
            trace::Write(tracer_, trace::level::kWarning, failure, trace::Hex(result));
        return result;
    };
    // Taken out first: this may be entered again from within.
    EventConnectionPtr notifications = std::move(owner_connection_);
    EventConnectionPtr events = std::move(source_connection_);
    owner_ = nullptr;
    const ItemPtr source = std::move(source_);
    const HRESULT left =
        end(std::move(notifications), "ItemEventHandler: owner unadvise failed, hr=");
    const HRESULT ended =
        end(std::move(events), "ItemEventHandler: unadvise from events failed, hr=");
    return FAILED(left) ? left : ended;
}

void ItemEventHandler::OnRead() noexcept {
    const auto self = weak_from_this().lock();
    const ItemPtr source = source_;
    if (owner_ != nullptr) owner_->ItemRead(source);
}

void ItemEventHandler::OnUnload() noexcept { Unadvise(); }

HRESULT AdviseItem(ItemNotifications& owner, const ItemPtr& item,
                   const trace::TracerPtr& tracer) noexcept {
    return com::AtBorder(
        [&] { return std::make_shared<ItemEventHandler>(tracer)->Advise(owner, item); });
}

}  // namespace plugins::mail_processing
