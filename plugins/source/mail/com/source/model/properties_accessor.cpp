#include "model/properties_accessor.h"

#include <string>
#include <utility>

#include "internal/helpers/hresult_exception.h"
#include "mapi/interface_ids.h"
#include "mapi/one_property.h"
#include "mapi/property_tags.h"
#include "private_include/common/mail_message.h"
#include "vek/trace/line.h"

namespace plugins::mail_processing {
namespace {

namespace trace = vek::trace;
using trace::level::kDetail;

// Saving leaves the object open for the rest of the check and overrides what others saved
// meanwhile: the scanner's word is the last.
constexpr ULONG kSaveFlags = KEEP_OPEN_READWRITE | FORCE_SAVE;

struct StreamFlags {
    ULONG options;
    ULONG flags;
};

constexpr StreamFlags FlagsFor(std::uint32_t access, std::uint32_t mode) noexcept {
    StreamFlags result{0, 0};
    if ((access & access_mode::kWrite) != 0) {
        result.options = (access & access_mode::kRead) != 0 ? STGM_READWRITE : STGM_WRITE;
        result.flags = MAPI_MODIFY;
    }
    if ((mode & open_mode::kCreate) != 0) result.flags |= MAPI_CREATE;
    return result;
}

}  // namespace

PropertiesAccessor::PropertiesAccessor(vek::RefPtr<IMAPIProp> object,
                                       std::shared_ptr<const mapi::MapiFunctions> functions,
                                       vek::trace::TracerPtr tracer, vek::platform::Clock& clock,
                                       std::shared_ptr<PropertiesAccessor> parent,
                                       CheckBudget budget)
    : tracer_(std::move(tracer)),
      object_(std::move(object)),
      functions_(std::move(functions)),
      clock_(clock),
      budget_(std::move(budget)),
      parent_(std::move(parent)),
      streams_(*this, functions_->code_page, tracer_) {}

PropertiesAccessor::~PropertiesAccessor() {
    // A stream that is written through may reach the object only with its end.
    ForgetStream();
    try {
        Save();
    } catch (...) {
        trace::WriteCurrentException(tracer_, "Property save failed: ");
    }
}

IMAPIProp& PropertiesAccessor::Object() {
    if (!object_) vek::ThrowResult(vek::result::kNotFound);
    return *object_;
}

const PropertyValue* PropertiesAccessor::Read(ULONG tag) {
    const auto found = cache_.find(tag);
    if (found == cache_.end()) return Fetch(tag);
    const Entry& entry = found->second;
    if (entry.status == vek::result::kOk) return &entry.value;
    if (entry.status != vek::result::kPropertyNotFound && vek::Failed(entry.status)) {
        vek::ThrowResult(entry.status);
    }
    return nullptr;
}

const PropertyValue* PropertiesAccessor::Fetch(ULONG tag) {
    trace::Write(tracer_, kDetail, "Get property ", trace::Hex(tag));
    const mapi::OneProperty read(*functions_, Object(), tag);
    const SPropValue* const property = read.given();
    if (property == nullptr) vek::ThrowResult(vek::result::kUnexpected);

    if (PROP_TYPE(property->ulPropTag) == PT_ERROR) {
        const HRESULT error = property->Value.err;
        if (error == MAPI_E_NOT_FOUND) {
            trace::Write(tracer_, kDetail, "Property not found for id: ", trace::Hex(tag));
            cache_.insert_or_assign(tag, Entry{vek::result::kPropertyNotFound, {}, {}});
            return nullptr;
        }
        helpers::CheckHResult(error);
        vek::ThrowResult(vek::result::kUnexpected);
    }
    PropertyValue value = FromMapi(*property, clock_);
    auto bytes = budget_.TakeBytes(HeldBytes(value));
    const auto entry =
        cache_.insert_or_assign(tag, Entry{vek::result::kOk, std::move(value), std::move(bytes)});
    return &entry.first->second.value;
}

template <class Text>
void PropertiesAccessor::Write(SPropValue& property, Text&& value) {
    auto bytes = budget_.TakeBytes(value.size() * sizeof(value[0]));
    streams_.Without(property.ulPropTag,
                     [&] { helpers::CheckHResult(Object().SetProps(1, &property, nullptr)); });
    OnReplaced(property.ulPropTag);
    cache_.insert_or_assign(property.ulPropTag,
                            Entry{vek::result::kOk, std::forward<Text>(value), std::move(bytes)});
}

void PropertiesAccessor::OnReplaced(ULONG tag) {
    changed_ = true;
    streams_.OnReplaced(tag);
    // A text has a narrow and a wide tag. Changing the one makes the memory of the other stale.
    const ULONG type = PROP_TYPE(tag);
    if (type == PT_STRING8) cache_.erase(PROP_TAG(PT_UNICODE, PROP_ID(tag)));
    if (type == PT_UNICODE) cache_.erase(PROP_TAG(PT_STRING8, PROP_ID(tag)));
}

void PropertiesAccessor::SetProperty(ULONG tag, std::string_view value) {
    trace::Write(tracer_, kDetail, "Set property ", trace::Hex(tag), " value: ", value);
    // MAPI would take the text for whatever the tag says.
    if (PROP_TYPE(tag) != PT_STRING8) vek::ThrowResult(vek::result::kInvalidArgument);
    std::string text(value.substr(0, value.find('\0')));
    SPropValue property{};
    property.ulPropTag = tag;
    property.Value.lpszA = text.data();
    Write(property, std::move(text));
}

void PropertiesAccessor::SetSubject(std::u16string_view subject) {
    trace::Write(tracer_, kDetail, "Set property ", trace::Hex(mapi::tag::kSubjectW),
                 " value: ", subject);
    std::u16string text(subject.substr(0, subject.find(u'\0')));
    std::basic_string<WCHAR> wide(text.begin(), text.end());
    SPropValue property{};
    property.ulPropTag = mapi::tag::kSubjectW;
    property.Value.lpszW = wide.data();
    Write(property, std::move(text));
}

void PropertiesAccessor::DeleteProperty(ULONG tag) {
    trace::Write(tracer_, kDetail, "Delete property ", trace::Hex(tag));
    SPropTagArray tags = mapi::OneTag(tag);
    streams_.Without(tag, [&] { helpers::CheckHResult(Object().DeleteProps(&tags, nullptr)); });
    OnReplaced(tag);
    cache_.insert_or_assign(tag, Entry{vek::result::kPropertyNotFound, {}, {}});
}

void PropertiesAccessor::WithoutObject(vek::FunctionRef<void()> call,
                                       vek::FunctionRef<vek::RefPtr<IMAPIProp>()> open) {
    streams_.WithoutLast([&] {
        try {
            Save();
        } catch (...) {  // what is to be deleted need not be saved
            trace::WriteCurrentException(tracer_);
        }
        object_.reset();
        try {
            call();
        } catch (...) {
            try {
                object_ = open();
            } catch (...) {
                trace::WriteCurrentException(tracer_);
            }
            throw;
        }
    });
}

std::shared_ptr<SharedStream> PropertiesAccessor::GetStreamProperty(ULONG tag, std::uint32_t access,
                                                                    std::uint32_t mode) {
    const StreamFlags wanted = FlagsFor(access, mode);
    trace::Write(tracer_, kDetail, "Get stream property ", trace::Hex(tag),
                 " accessMode: ", trace::Hex(wanted.options),
                 " openMode: ", trace::Hex(wanted.flags));
    const auto known = cache_.find(tag);
    if (known != cache_.end() && vek::Failed(known->second.status)) {
        vek::ThrowResult(known->second.status);
    }
    return streams_.Get(tag, wanted.options, wanted.flags);
}

void PropertiesAccessor::OpenProperty(ULONG tag, const IID& iid, ULONG options, ULONG flags,
                                      vek::RefPtr<IUnknown>& object) {
    helpers::CheckGiven(Object().OpenProperty(tag, &iid, options, flags, object.put()), object);
}

void PropertiesAccessor::Abandon() noexcept {
    streams_.Abandon();
    object_.reset();
}

void PropertiesAccessor::Save() {
    streams_.TakeBackLeftovers();
    if (!changed_ || !object_) return;
    trace::Write(tracer_, kDetail, "Process property save");
    helpers::CheckHResult(Object().SaveChanges(kSaveFlags));
    if (parent_) parent_->MarkChanged();
    changed_ = false;
    streams_.OnSaved();
}

}  // namespace plugins::mail_processing
