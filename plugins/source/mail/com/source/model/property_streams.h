#pragma once

#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "model/property_backup.h"
#include "model/shared_stream.h"
#include "vek/core/function_ref.h"
#include "vek/trace/tracer.h"

namespace plugins::mail_processing {

class PropertiesAccessor;

// The streams of one object's properties. The last that was opened is kept and given again; of the
// others those are known that somebody still uses, for a store may refuse a property a second
// stream, or hand out the first.
//
// Only the thread that owns the object uses it. Operations raise what PropertiesAccessor raises.
class PropertyStreams {
public:
    // `object` opens the properties, and outlives this. Narrow texts are in `page`.
    PropertyStreams(PropertiesAccessor& object, vek::platform::code_page_t page,
                    vek::trace::TracerPtr tracer)
        : tracer_(std::move(tracer)), object_(object), page_(page) {}
    PropertyStreams(const PropertyStreams&) = delete;
    PropertyStreams& operator=(const PropertyStreams&) = delete;

    // `options` and `flags` are those of IMAPIProp::OpenProperty.
    std::shared_ptr<SharedStream> Get(ULONG tag, ULONG options, ULONG flags);

    // Lets the kept stream go.
    void ForgetLast() noexcept { const auto gone = std::exchange(last_, std::nullopt); }

    // Makes `call` while no stream of the property, or no stream at all, is kept; when it raises,
    // the stream is kept again.
    void Without(ULONG tag, vek::FunctionRef<void()> call);
    void WithoutLast(vek::FunctionRef<void()> call);

    // The property was given another value, or none.
    void OnReplaced(ULONG tag) noexcept;

    // Before a save: what a stream left uncommitted goes, unless somebody can still commit it.
    void TakeBackLeftovers() noexcept;
    void OnSaved() noexcept;

    // The object was deleted: there is nothing to take back.
    void Abandon() noexcept;

    // The property was read beside its streams, by one that may be theirs.
    void LosePlaces(ULONG tag) noexcept;

private:
    struct Open {
        ULONG tag, options, flags;
        std::weak_ptr<SharedStream> stream;
    };
    struct Last {
        ULONG tag, options, flags;
        std::shared_ptr<SharedStream> stream;
    };
    struct OfProperty {
        std::vector<Open> streams;
        std::weak_ptr<PropertyBackup> backup;
    };

    // Of the property's id: its types are views of it.
    OfProperty& Of(ULONG tag);
    std::shared_ptr<SharedStream> FindOpen(ULONG tag, ULONG options, ULONG flags);
    std::shared_ptr<SharedStream> OpenNew(ULONG tag, ULONG options, ULONG flags);
    void KeepAgain(Last last, const std::weak_ptr<SharedStream>& stream) noexcept;

    const vek::trace::TracerPtr tracer_;
    PropertiesAccessor& object_;
    const vek::platform::code_page_t page_;
    std::map<ULONG, OfProperty> properties_;
    std::optional<Last> last_;
};

}  // namespace plugins::mail_processing
