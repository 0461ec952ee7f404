#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string_view>

#include "mapi/mapi_functions.h"
#include "mapi/mapi_interfaces.h"
#include "model/check_budget.h"
#include "model/property_streams.h"
#include "model/property_value.h"
#include "vek/core/function_ref.h"
#include "vek/core/ref_ptr.h"
#include "vek/core/throw.h"
#include "vek/platform/clock.h"
#include "vek/trace/tracer.h"

namespace plugins::mail_processing {

// The only road from the mail model to the properties of one MAPI object, a message or an
// attachment. Reads each property at most once, remembers that it is missing too, keeps what it
// writes in step, and saves once. What it remembers counts in the check's budget.
//
// Only the thread that owns the object uses it. Operations raise helpers::HResultCodeException
// when MAPI fails and vek::ResultCodeException otherwise; the memory is then unchanged. A property
// that is changed behind the accessor's back is not seen.
class PropertiesAccessor {
public:
    // `parent` belongs to the object that contains this one: a saved change here makes a change
    // there. It is shared, so that the container is saved after what it contains. `clock`
    // outlives the accessor.
    PropertiesAccessor(vek::RefPtr<IMAPIProp> object,
                       std::shared_ptr<const mapi::MapiFunctions> functions,
                       vek::trace::TracerPtr tracer, vek::platform::Clock& clock,
                       std::shared_ptr<PropertiesAccessor> parent = nullptr,
                       CheckBudget budget = CheckBudget());

    // Saves; a failure is traced.
    ~PropertiesAccessor();

    PropertiesAccessor(const PropertiesAccessor&) = delete;
    PropertiesAccessor& operator=(const PropertiesAccessor&) = delete;

    // The property's value, valid until it is written or deleted; null when it is missing.
    // Raises kInvalidType when it is held as something else than a Value.
    template <class Value>
    const Value* TryGetProperty(ULONG tag) {
        const PropertyValue* value = Read(tag);
        if (value == nullptr) return nullptr;
        const Value* typed = std::get_if<Value>(value);
        if (typed == nullptr) vek::ThrowResult(vek::result::kInvalidType);
        return typed;
    }

    // As TryGetProperty; a missing property raises `missing`.
    template <class Value>
    const Value& GetProperty(ULONG tag, vek::result_t missing = vek::result::kNotFound) {
        const Value* value = TryGetProperty<Value>(tag);
        if (value == nullptr) vek::ThrowResult(missing);
        return *value;
    }

    // Write a text up to its first NUL. `tag` must be of a narrow text (PT_STRING8); others raise
    // kInvalidArgument.
    void SetProperty(ULONG tag, std::string_view value);
    void SetSubject(std::u16string_view subject);
    void DeleteProperty(ULONG tag);

    // `access` and `mode` are sets of access_mode and open_mode bits. The stream last opened is
    // kept and given again for the same tag and modes. It is let go before its property is written,
    // deleted or opened with other modes, which stores refuse beside an open stream.
    std::shared_ptr<SharedStream> GetStreamProperty(ULONG tag, std::uint32_t access,
                                                    std::uint32_t mode);

    // Drops the kept stream, so that nobody commits the bytes that a failure left in it.
    void ForgetStream() noexcept { streams_.ForgetLast(); }

    // Saves, and makes `call` while neither the object nor a stream of it is held. When `call`
    // raises, `open` gives the object again, and the stream is kept as before.
    void WithoutObject(vek::FunctionRef<void()> call,
                       vek::FunctionRef<vek::RefPtr<IMAPIProp>()> open);

    // The object was deleted: nothing is saved any more, and what is not remembered of it is
    // kNotFound.
    void Abandon() noexcept;

    // Opens the property as the interface `iid`, which is not kept.
    void OpenProperty(ULONG tag, const IID& iid, ULONG options, ULONG flags,
                      vek::RefPtr<IUnknown>& object);

    // Makes the changes permanent, if there are any. What a stream left uncommitted is taken back
    // before, unless somebody can still commit it.
    void Save();

    // Says that the object was changed through one of its streams.
    void MarkChanged() noexcept { changed_ = true; }

    // Says that the property was read beside its streams, by one that may be theirs.
    void LosePlaces(ULONG tag) noexcept { streams_.LosePlaces(tag); }

    const CheckBudget& budget() const noexcept { return budget_; }

private:
    struct Entry {
        vek::result_t status;
        PropertyValue value;
        CheckBudget::Reservation bytes;
    };

    IMAPIProp& Object();
    const PropertyValue* Read(ULONG tag);
    const PropertyValue* Fetch(ULONG tag);
    template <class Text>
    void Write(SPropValue& property, Text&& value);
    // The property has been given another value, or none.
    void OnReplaced(ULONG tag);

    const vek::trace::TracerPtr tracer_;
    vek::RefPtr<IMAPIProp> object_;
    const std::shared_ptr<const mapi::MapiFunctions> functions_;
    vek::platform::Clock& clock_;
    const CheckBudget budget_;
    std::map<ULONG, Entry> cache_;
    bool changed_ = false;
    const std::shared_ptr<PropertiesAccessor> parent_;
    PropertyStreams streams_;
};

}  // namespace plugins::mail_processing
