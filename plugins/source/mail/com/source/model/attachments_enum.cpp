#include "model/attachments_enum.h"

#include <string>
#include <utility>

#include "internal/helpers/hresult_exception.h"
#include "mapi/one_property.h"
#include "mapi/property_tags.h"
#include "mapi/table_rows.h"
#include "model/attachment_provider.h"
#include "model/return_interface.h"
#include "vek/core/throw.h"

namespace plugins::mail_processing {
namespace {

void SeekToStart(IMAPITable& table, vek::SourceLocation place = vek::SourceLocation::Here()) {
    helpers::CheckHResult(table.SeekRow(BOOKMARK_BEGINNING, 0, nullptr), place);
}

}  // namespace

AttachmentsEnum::State AttachmentsEnum::OpenTable(MessageContext message) {
    vek::RefPtr<IMAPITable> table;
    helpers::CheckGiven(message.message->GetAttachmentTable(0, table.put()), table);
    SPropTagArray columns = mapi::OneTag(mapi::tag::kAttachNum);
    helpers::CheckHResult(table->SetColumns(&columns, 0));
    SeekToStart(*table);
    return {std::move(message), std::move(table)};
}

AttachmentsEnum::AttachmentsEnum(std::shared_ptr<OwnerThread> owner, vek::trace::TracerPtr tracer,
                                 MessageContext message)
    : tracer_(std::move(tracer)), state_(std::move(owner), OpenTable(std::move(message))) {}

vek::RefPtr<IPropertyProvider> AttachmentsEnum::TakeNext() {
    mapi::RowSet rows(*state_->message.functions);
    helpers::CheckHResult(state_->table->QueryRows(1, 0, rows.put()));
    if (mapi::Rows(rows).empty()) return nullptr;
    const SPropValue* number =
        mapi::ColumnValue(mapi::Rows(rows).front(), 0, mapi::tag::kAttachNum);
    if (number == nullptr) vek::ThrowResult(vek::result::kPropertyNotFound);
    return vek::MakeObject<AttachmentProvider>(state_.shared_owner(), tracer_, state_->message,
                                               static_cast<ULONG>(number->Value.l));
}

vek::result_t AttachmentsEnum::Next(IPropertyProvider** provider, bool& found) noexcept {
    if (provider == nullptr) return vek::result::kInvalidArgument;
    *provider = nullptr;
    vek::RefPtr<IPropertyProvider> next;
    const vek::result_t result = RunOnOwner(state_.owner(), [&] {
        next = TakeNext();
        if (next) next = QueryFor<IPropertyProvider>(*next);
    });
    if (vek::Failed(result)) return result;
    found = static_cast<bool>(next);
    *provider = next.detach();
    return result;
}

vek::result_t AttachmentsEnum::Reset() noexcept {
    return RunOnOwner(state_.owner(), [&] { SeekToStart(*state_->table); });
}

vek::result_t AttachmentsEnum::Find(std::u16string_view name,
                                    IPropertyProvider** provider) noexcept {
    return ReturnInterface<IPropertyProvider>(state_.owner(), provider, [&] {
        std::basic_string<WCHAR> wide(name.begin(), name.end());
        SPropValue value{};
        value.ulPropTag = mapi::tag::kDisplayNameW;
        value.Value.lpszW = wide.data();
        SRestriction restriction{};
        restriction.rt = RES_PROPERTY;
        restriction.res.resProperty.relop = RELOP_EQ;
        restriction.res.resProperty.ulPropTag = mapi::tag::kDisplayNameW;
        restriction.res.resProperty.lpProp = &value;
        helpers::CheckHResult(state_->table->FindRow(&restriction, BOOKMARK_BEGINNING, 0));
        auto found = TakeNext();
        vek::Check(static_cast<bool>(found));
        return found;
    });
}

}  // namespace plugins::mail_processing
