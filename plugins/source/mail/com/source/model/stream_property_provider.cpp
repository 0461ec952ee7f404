#include "model/stream_property_provider.h"

#include <utility>

#include "mapi/property_tags.h"
#include "model/return_interface.h"
#include "model/stream_adapter.h"
#include "model/write_refusals.h"
#include "vek/core/throw.h"
#include "vek/trace/line.h"

namespace plugins::mail_processing {
namespace {

namespace trace = vek::trace;
using trace::level::kDetail;

const char* BodyName(ULONG tag) noexcept {
    switch (tag) {
        case mapi::tag::kBodyA:
            return "PlainBody";
        case mapi::tag::kRtfCompressed:
            return "RichBody";
        case mapi::tag::kBodyHtmlA:
            return "HTMLBody";
        default:
            return nullptr;
    }
}

// Flags of WrapCompressedRTFStream (mapiutil.h): MAPI_MODIFY, and 2 for a body that is made anew
// (STORE_UNCOMPRESSED_RTF has the higher bits).
constexpr ULONG WrapFlags(std::uint32_t access, std::uint32_t mode) noexcept {
    ULONG flags = 0;
    if ((access & access_mode::kWrite) != 0) flags |= MAPI_MODIFY;
    if ((mode & open_mode::kCreate) != 0) flags |= MAPI_CREATE;
    return flags;
}

}  // namespace

StreamPropertyProvider::StreamPropertyProvider(std::shared_ptr<OwnerThread> owner,
                                               vek::trace::TracerPtr tracer,
                                               std::shared_ptr<const mapi::MapiFunctions> functions,
                                               std::shared_ptr<PropertiesAccessor> accessor,
                                               ULONG tag)
    : tracer_(std::move(tracer)),
      tag_(tag),
      state_(std::move(owner), State{std::move(functions), std::move(accessor)}) {
    try {
        Open(access_mode::kRead, open_mode::kProbe);
    } catch (...) {
        trace::WriteCurrentException(tracer_);
        vek::ThrowResult(vek::result::kNotFound);
    }
}

std::shared_ptr<SharedStream> StreamPropertyProvider::Open(std::uint32_t access,
                                                           std::uint32_t mode) {
    RefuseWritingIfProtected(*state_->accessor, access, tracer_);
    std::shared_ptr<SharedStream> stream = state_->accessor->GetStreamProperty(tag_, access, mode);
    if (tag_ != mapi::tag::kRtfCompressed) return stream;

    trace::Write(tracer_, kDetail, "Start uncompress RTF");
    auto plain = SharedStream::Uncompress(stream, *state_->functions, WrapFlags(access, mode));
    trace::Write(tracer_, kDetail, "End uncompress RTF");
    return plain;
}

vek::result_t StreamPropertyProvider::Delete() noexcept {
    return RunOnOwner(state_.owner(), [&] {
        state_->accessor->DeleteProperty(tag_);
        state_->accessor->Save();
    });
}

vek::result_t StreamPropertyProvider::OpenStream(std::uint32_t access, std::uint32_t mode,
                                                 IDataStream** stream) noexcept {
    return ReturnInterface<IDataStream>(state_.owner(), stream, [&] {
        return vek::MakeObject<StreamAdapter>(state_.shared_owner(), tracer_, Open(access, mode),
                                              state_->accessor);
    });
}

vek::result_t StreamPropertyProvider::GetName(std::string& name) noexcept {
    return RunOnOwner(state_.owner(), [&] {
        const char* const body_name = BodyName(tag_);
        if (body_name == nullptr) vek::ThrowResult(vek::result::kPropertyNotFound);
        name = body_name;
    });
}

vek::result_t StreamPropertyProvider::GetFileName(std::string&) noexcept {
    return NoSuchProperty();
}

vek::result_t StreamPropertyProvider::GetMimeTag(std::string&) noexcept { return NoSuchProperty(); }

vek::result_t StreamPropertyProvider::GetSize(std::uint32_t& size) noexcept {
    return RunOnOwner(state_.owner(), [&] { size = 0; });
}

vek::result_t StreamPropertyProvider::Rename(std::string_view) noexcept { return NoSuchProperty(); }

vek::result_t StreamPropertyProvider::NoSuchProperty() noexcept {
    const vek::result_t reached = RunOnOwner(state_.owner(), [] {});
    return vek::Failed(reached) ? reached : vek::result::kPropertyNotFound;
}

}  // namespace plugins::mail_processing
