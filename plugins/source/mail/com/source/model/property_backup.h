#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "mapi/mapi_interfaces.h"
#include "model/check_budget.h"
#include "vek/core/ref_ptr.h"
#include "vek/platform/ansi_text.h"
#include "vek/trace/tracer.h"

namespace plugins::mail_processing {

class PropertiesAccessor;

// What a property held before a stream began to change it. A store may take what is written at once
// and take nothing back, so a change that is never committed is undone by writing the old content
// again. The streams of one property share it. It counts in the check's budget; content beyond that
// is not kept.
//
// Only the thread that owns the object uses it. Nothing is raised unless said so: a failure is
// traced, and the property stays as it is.
class PropertyBackup {
public:
    // `accessor` reaches the property, is told when it is written, and outlives this. Narrow texts
    // are in `page`.
    PropertyBackup(PropertiesAccessor& accessor, ULONG tag, vek::platform::code_page_t page,
                   vek::trace::TracerPtr tracer);
    PropertyBackup(const PropertyBackup&) = delete;
    PropertyBackup& operator=(const PropertyBackup&) = delete;

    // With the last of the streams: makes the property what it was, where that is kept and it is
    // not so.
    ~PropertyBackup();

    // A stream of the property can be read itself before it is written: it shows all that the
    // property has, neither as a text without some characters nor compressed.
    bool IsShown() const noexcept;

    // Keeps the content of the property, of which no stream is known to be open. A text is kept in
    // the form that has all of its characters.
    void Keep() noexcept;

    // Nobody has tried to keep the content of now.
    bool IsWanted() const noexcept { return !tried_; }

    // Keeps what `stream`, one of the property itself, has; the stream stands anywhere then. Raises
    // when it cannot be read: what cannot be put back is not to be changed.
    void KeepFrom(IStream& stream);

    // Whoever is about to replace the content has it, and gives it to KeepNow should he fail. It is
    // in the form of the streams; one that says more stays.
    void KeepLater() noexcept { tried_ = true; }
    void KeepNow(std::vector<std::byte> content) noexcept;

    // Tells whether the narrow text has all characters of the property; false when that is not
    // known.
    bool IsNarrowWhole() noexcept;

    // A stream is about to change the property.
    void OnChange() noexcept;

    // The object was saved, with what is changed by now: what becomes of that must be saved, too.
    void OnSaved() noexcept { saved_ = saved_ || changed_; }

    // The content was changed for good.
    void OnCommitted() noexcept;

    // The property was replaced or deleted beside its streams: they have nothing to undo.
    void Abandon() noexcept { Forget(true); }

private:
    struct Content {
        ULONG tag;     // the form that was kept
        bool present;  // there was such a property
        std::vector<std::byte> bytes;
        CheckBudget::Reservation reserved;
    };

    void Forget(bool tried) noexcept {
        kept_.reset();
        changed_ = saved_ = false;
        tried_ = tried;
    }

    vek::RefPtr<IStream> Open(ULONG tag, ULONG options, ULONG flags);
    // Keeps what the stream has as the content of the form `tag`.
    void Read(IStream& stream, ULONG tag);
    bool IsStill(const Content& content);
    void Write(const Content& content);

    const vek::trace::TracerPtr tracer_;
    PropertiesAccessor& accessor_;
    const ULONG tag_;
    const vek::platform::code_page_t page_;
    const std::vector<ULONG> forms_;
    bool form_failed_ = false;  // a form that says more could not be read
    bool tried_ = false;        // to keep the content of now
    bool changed_ = false;      // since then
    bool saved_ = false;        // what is changed
    std::optional<Content> kept_;
};

}  // namespace plugins::mail_processing
