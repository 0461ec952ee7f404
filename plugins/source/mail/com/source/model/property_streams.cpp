#include "model/property_streams.h"

#include <utility>

#include "mapi/interface_ids.h"
#include "model/properties_accessor.h"
#include "vek/trace/line.h"

namespace plugins::mail_processing {
namespace {

namespace trace = vek::trace;

template <class Stream>
bool IsOpenedAs(const Stream& stream, ULONG tag, ULONG options, ULONG flags) noexcept {
    return stream.tag == tag && stream.options == options && stream.flags == flags;
}

}  // namespace

PropertyStreams::OfProperty& PropertyStreams::Of(ULONG tag) {
    OfProperty& property = properties_[PROP_ID(tag)];
    std::erase_if(property.streams, [](const Open& open) { return open.stream.expired(); });
    return property;
}

std::shared_ptr<SharedStream> PropertyStreams::FindOpen(ULONG tag, ULONG options, ULONG flags) {
    if (last_ && IsOpenedAs(*last_, tag, options, flags)) return last_->stream;
    // One that was opened for creation begins anew each time.
    if ((flags & MAPI_CREATE) != 0) return nullptr;
    for (const Open& open : Of(tag).streams) {
        if (IsOpenedAs(open, tag, options, flags)) return open.stream.lock();
    }
    return nullptr;
}

std::shared_ptr<SharedStream> PropertyStreams::Get(ULONG tag, ULONG options, ULONG flags) {
    std::shared_ptr<SharedStream> stream = FindOpen(tag, options, flags);
    if (stream) {
        trace::Write(tracer_, trace::level::kDetail, "Get stream from cache");
    } else {
        Without(tag, [&] { stream = OpenNew(tag, options, flags); });
    }
    last_ = Last{tag, options, flags, stream};
    return stream;
}

std::shared_ptr<SharedStream> PropertyStreams::OpenNew(ULONG tag, ULONG options, ULONG flags) {
    OfProperty& property = Of(tag);
    std::shared_ptr<PropertyBackup> backup;
    if ((flags & MAPI_MODIFY) != 0) {
        backup = property.backup.lock();
        if (!backup) backup = std::make_shared<PropertyBackup>(object_, tag, page_, tracer_);
        property.backup = backup;
        // What the stream itself can show is kept when it comes to be written.
        const bool shows = options == STGM_READWRITE && (flags & MAPI_CREATE) == 0;
        if (property.streams.empty() && !(shows && backup->IsShown())) backup->Keep();
    }
    vek::RefPtr<IUnknown> object;
    object_.OpenProperty(tag, mapi::iid::kStream, options, flags, object);
    // Asked for by its interface id, the object is the stream.
    auto given = vek::RefPtr<IStream>::Adopt(static_cast<IStream*>(object.detach()));
    std::shared_ptr<SharedStream> stream;
    for (const Open& open : property.streams) {
        const auto first = open.stream.lock();
        if (first && first->Is(*given)) stream = first;
    }
    if (!stream) {
        stream = std::make_shared<SharedStream>(std::move(given), std::move(backup));
        if ((flags & MAPI_CREATE) != 0) stream->OnCreated();
    }
    property.streams.push_back({tag, options, flags, stream});
    return stream;
}

void PropertyStreams::Without(ULONG tag, vek::FunctionRef<void()> call) {
    last_&& PROP_ID(last_->tag) == PROP_ID(tag) ? WithoutLast(call) : call();
}

void PropertyStreams::WithoutLast(vek::FunctionRef<void()> call) {
    if (!last_) return call();
    Last last = *std::exchange(last_, std::nullopt);
    const std::weak_ptr<SharedStream> stream = std::exchange(last.stream, nullptr);
    try {
        call();
    } catch (...) {
        KeepAgain(std::move(last), stream);
        throw;
    }
}

void PropertyStreams::KeepAgain(Last last, const std::weak_ptr<SharedStream>& stream) noexcept {
    try {
        last.stream = stream.lock();
        // Opened for creation once more, it would be empty.
        if (!last.stream && (last.flags & MAPI_CREATE) != 0) return;
        if (!last.stream) last.stream = OpenNew(last.tag, last.options, last.flags);
        last_ = std::move(last);
    } catch (...) {
        trace::WriteCurrentException(tracer_);
    }
}

void PropertyStreams::OnReplaced(ULONG tag) noexcept {
    const auto property = properties_.find(PROP_ID(tag));
    if (property == properties_.end()) return;
    if (const auto backup = property->second.backup.lock()) backup->Abandon();
}

void PropertyStreams::TakeBackLeftovers() noexcept {
    if (last_ && last_->stream.use_count() == 1 && last_->stream->is_changed()) ForgetLast();
}

void PropertyStreams::OnSaved() noexcept {
    for (const auto& [id, property] : properties_) {
        if (const auto backup = property.backup.lock()) backup->OnSaved();
    }
}

void PropertyStreams::Abandon() noexcept {
    for (const auto& [id, property] : properties_) {
        if (const auto backup = property.backup.lock()) backup->Abandon();
    }
    ForgetLast();
}

void PropertyStreams::LosePlaces(ULONG tag) noexcept {
    const auto property = properties_.find(PROP_ID(tag));
    if (property == properties_.end()) return;
    for (const Open& open : property->second.streams) {
        if (const auto stream = open.stream.lock()) stream->LosePlace();
    }
}

}  // namespace plugins::mail_processing
