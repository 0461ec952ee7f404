#include "model/attachment_provider.h"

#include <array>
#include <utility>

#include "internal/helpers/hresult_exception.h"
#include "mapi/interface_ids.h"
#include "mapi/property_tags.h"
#include "model/ole_storage_adapter.h"
#include "model/return_interface.h"
#include "model/stream_adapter.h"
#include "model/write_refusals.h"
#include "vek/core/throw.h"
#include "vek/trace/line.h"

namespace plugins::mail_processing {
namespace {

namespace trace = vek::trace;
namespace tag = mapi::tag;
using trace::level::kDetail;

vek::RefPtr<IMAPIProp> OpenAttach(IMessage& message, ULONG number) {
    vek::RefPtr<IAttach> attachment;
    helpers::CheckGiven(message.OpenAttach(number, nullptr, MAPI_BEST_ACCESS, attachment.put()),
                        attachment);
    return attachment;
}

}  // namespace

AttachmentProvider::AttachmentProvider(std::shared_ptr<OwnerThread> owner, trace::TracerPtr tracer,
                                       const MessageContext& message, ULONG number)
    : tracer_(std::move(tracer)),
      number_(number),
      state_(std::move(owner),
             State{message, std::make_shared<PropertiesAccessor>(
                                OpenAttach(*message.message, number), message.functions, tracer_,
                                *message.clock, message.accessor, message.accessor->budget())}) {
    CheckMethod();
}

void AttachmentProvider::CheckMethod() {
    const auto method = state_->attachment->GetProperty<std::int32_t>(tag::kAttachMethod);
    if (const auto kind = static_cast<ULONG>(method);
        kind >= ATTACH_BY_REFERENCE && kind <= ATTACH_EMBEDDED_MSG) {
        vek::ThrowResult(vek::result::kNotSupported);
    }
    if (method == ATTACH_OLE) Open(access_mode::kRead, open_mode::kProbe);
}

vek::RefPtr<IDataStream> AttachmentProvider::Open(std::uint32_t access, std::uint32_t mode) {
    trace::Write(tracer_, kDetail, "Request attachment IO");
    RefuseWritingIfProtected(*state_->message.accessor, access, tracer_);
    vek::RefPtr<IDataStream> stream;
    switch (state_->attachment->GetProperty<std::int32_t>(tag::kAttachMethod)) {
        case ATTACH_BY_VALUE:
            stream =
                Adapt(state_->attachment->GetStreamProperty(tag::kAttachDataBin, access, mode));
            break;
        case ATTACH_OLE:
            stream = OpenOle(access, mode);
            break;
        default:
            vek::ThrowResult(vek::result::kNotSupported);
    }
    trace::Write(tracer_, kDetail, "Stream initialized");
    return stream;
}

vek::RefPtr<IDataStream> AttachmentProvider::OpenOle(std::uint32_t access, std::uint32_t mode) {
    if (auto stream = TryOpen(tag::kAttachDataObj, access, mode)) {
        trace::Write(tracer_, kDetail, "Stream initialized by DATA_OBJ");
        return Adapt(std::move(stream));
    }
    if (auto stream = TryOpen(tag::kAttachDataBin, access, mode)) {
        trace::Write(tracer_, kDetail, "Stream initialized by DATA_BIN");
        return Adapt(std::move(stream));
    }
    if ((access & access_mode::kWrite) != 0) {
        trace::Write(tracer_, kDetail, "Write request blocked, because it's an OLE attachment");
        vek::ThrowResult(vek::result::kNotSupported);
    }
    auto open = state_->attachment->budget().TakeStream();
    return vek::MakeObject<OleStorageAdapter>(
        state_.shared_owner(), tracer_,
        state_->message.storages->Get(number_, [&] { return CopyStorage(); }), std::move(open));
}

StorageCopies::Copy AttachmentProvider::CopyStorage() {
    PropertiesAccessor& attachment = *state_->attachment;
    trace::Write(tracer_, kDetail, "Get storage property ", trace::Hex(tag::kAttachDataObj));
    vek::RefPtr<IUnknown> object;
    attachment.OpenProperty(tag::kAttachDataObj, mapi::iid::kStorage, 0, 0, object);
    const auto* size = attachment.TryGetProperty<std::int32_t>(tag::kAttachSize);
    // Asked for by its interface id, the object is the storage.
    return std::make_shared<StorageCopy>(state_->message.functions->ole,
                                         *static_cast<IStorage*>(object.get()), attachment.budget(),
                                         size != nullptr ? static_cast<std::uint32_t>(*size) : 0);
}

std::shared_ptr<SharedStream> AttachmentProvider::TryOpen(ULONG property, std::uint32_t access,
                                                          std::uint32_t mode) {
    try {
        auto stream = state_->attachment->GetStreamProperty(property, access, mode);
        if ((access & access_mode::kWrite) != 0 || (mode & open_mode::kCreate) != 0)
            state_->message.storages->StopSharing(number_);
        return stream;
    } catch (const vek::Exception&) {
        return nullptr;
    }
}

vek::RefPtr<IDataStream> AttachmentProvider::Adapt(std::shared_ptr<SharedStream> stream) {
    return vek::MakeObject<StreamAdapter>(state_.shared_owner(), tracer_, std::move(stream),
                                          state_->attachment);
}

vek::result_t AttachmentProvider::Delete() noexcept {
    return RunOnOwner(state_.owner(), [&] {
        trace::Write(tracer_, kDetail, "Delete attach ", number_);
        const MessageContext& message = state_->message;
        const auto delete_it = [&] {
            helpers::CheckHResult(message.message->DeleteAttach(number_, 0, nullptr, 0));
        };
        const bool has_streams = state_->attachment.use_count() > 1;
        if (has_streams) {  // which are those of this very object, so that it stays
            delete_it();
        } else {
            state_->attachment->WithoutObject(
                delete_it, [&] { return OpenAttach(*message.message, number_); });
        }
        state_->attachment->Abandon();
        message.storages->Forget(number_);
        // The store keeps the deletion only with the message.
        message.accessor->MarkChanged();
    });
}

vek::result_t AttachmentProvider::OpenStream(std::uint32_t access, std::uint32_t mode,
                                             IDataStream** stream) noexcept {
    return ReturnInterface<IDataStream>(state_.owner(), stream, [&] { return Open(access, mode); });
}

const std::string& AttachmentProvider::FileName() {
    PropertiesAccessor& attachment = *state_->attachment;
    const auto* name = attachment.TryGetProperty<std::string>(tag::kAttachLongFilenameA);
    return name != nullptr ? *name : attachment.GetProperty<std::string>(tag::kAttachFilenameA);
}

vek::result_t AttachmentProvider::GetName(std::string& name) noexcept {
    return RunOnOwner(state_.owner(), [&] {
        const auto* shown = state_->attachment->TryGetProperty<std::string>(tag::kDisplayNameA);
        state_->attachment->budget().Give(shown != nullptr ? *shown : FileName(), name);
    });
}

vek::result_t AttachmentProvider::GetFileName(std::string& name) noexcept {
    return RunOnOwner(state_.owner(), [&] { state_->attachment->budget().Give(FileName(), name); });
}

vek::result_t AttachmentProvider::GetMimeTag(std::string& mime_tag) noexcept {
    return RunOnOwner(state_.owner(), [&] {
        PropertiesAccessor& attachment = *state_->attachment;
        attachment.budget().Give(attachment.GetProperty<std::string>(tag::kAttachMimeTagA),
                                 mime_tag);
    });
}

vek::result_t AttachmentProvider::GetSize(std::uint32_t& size) noexcept {
    return RunOnOwner(state_.owner(), [&] {
        size = static_cast<std::uint32_t>(
            state_->attachment->GetProperty<std::int32_t>(tag::kAttachSize));
    });
}

vek::result_t AttachmentProvider::Rename(std::string_view name) noexcept {
    static constexpr std::array<ULONG, 3> kNames = {tag::kDisplayNameA, tag::kAttachFilenameA,
                                                    tag::kAttachLongFilenameA};
    return RunOnOwner(state_.owner(), [&] {
        PropertiesAccessor& attachment = *state_->attachment;
        attachment.budget().RequireBytes(kNames.size() * name.size());  // all of them or none
        state_->message.storages->Forget(number_);
        for (ULONG property : kNames) attachment.SetProperty(property, name);
    });
}

}  // namespace plugins::mail_processing
