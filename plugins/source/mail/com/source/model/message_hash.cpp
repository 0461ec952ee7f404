#include "model/message_hash.h"

#include <array>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "internal/helpers/hresult_exception.h"
#include "mapi/mapi_streams.h"
#include "mapi/property_tags.h"
#include "mapi/table_rows.h"
#include "model/md5.h"
#include "model/message_texts.h"
#include "private_include/common/mail_message.h"
#include "vek/trace/line.h"

namespace plugins::mail_processing {
namespace {

namespace trace = vek::trace;
using trace::level::kDetail;

using Bytes = std::vector<std::byte>;

template <class Number>
void Append(Bytes& out, Number value) {
    std::array<std::byte, sizeof(Number)> bytes;
    StoreLittleEndian(value, std::span(bytes));
    out.insert(out.end(), bytes.begin(), bytes.end());
}

void AppendIdentity(Bytes& out, PropertiesAccessor& message) {
    if (const auto* entry_id = message.TryGetProperty<Bytes>(mapi::tag::kEntryId)) {
        out.insert(out.end(), entry_id->begin(), entry_id->end());
        return;
    }
    const std::string summary = HeaderSummary(message);
    const auto bytes = std::as_bytes(std::span(summary));
    out.insert(out.end(), bytes.begin(), bytes.end());
}

// A body that does not open as a stream counts as missing and adds nothing.
void AppendBodySize(Bytes& out, PropertiesAccessor& message, ULONG tag, std::string_view text,
                    const trace::TracerPtr& tracer) {
    std::shared_ptr<SharedStream> stream;
    try {
        stream = message.GetStreamProperty(tag, access_mode::kRead, 0);
    } catch (const vek::Exception&) {
        return;
    }
    const std::uint64_t size = stream->Size();
    trace::Write(tracer, kDetail, text, size);
    Append(out, size);
}

void AppendAttachmentSizes(Bytes& out, const mapi::MapiFunctions& functions, IMessage& message,
                           const trace::TracerPtr& tracer) {
    static constexpr std::array<ULONG, 2> kColumns = {mapi::tag::kAttachNum,
                                                      mapi::tag::kAttachSize};
    vek::RefPtr<IMAPITable> table;
    helpers::CheckGiven(message.GetAttachmentTable(0, table.put()), table);
    mapi::RowSet rows(functions);
    mapi::QueryAllRows(functions, *table, kColumns, rows);
    if (mapi::Rows(rows).empty()) trace::Write(tracer, kDetail, "No attachments");

    for (const SRow& row : mapi::Rows(rows)) {
        const SPropValue* number = mapi::ColumnValue(row, 0, kColumns[0]);
        const SPropValue* size = mapi::ColumnValue(row, 1, kColumns[1]);
        if (number == nullptr || size == nullptr) continue;
        trace::Write(tracer, kDetail, "PR_ATTACH_SIZE[", number->Value.l, "]: ", size->Value.l);
        Append(out, static_cast<std::uint32_t>(size->Value.l));
    }
}

std::uint64_t Fold(const std::array<std::byte, 16>& digest) noexcept {
    const std::span<const std::byte, 16> bytes(digest);
    return LoadLittleEndian<std::uint64_t>(bytes.first<8>()) ^
           LoadLittleEndian<std::uint64_t>(bytes.last<8>());
}

}  // namespace

std::uint64_t MessageHash(const mapi::MapiFunctions& functions, IMessage& message,
                          PropertiesAccessor& properties, const trace::TracerPtr& tracer) {
    Bytes facts;
    AppendIdentity(facts, properties);
    AppendBodySize(facts, properties, mapi::tag::kBodyA, "PR_BODY size=", tracer);
    AppendBodySize(facts, properties, mapi::tag::kBodyHtmlA, "PR_BODY_HTML size=", tracer);
    if (const bool* has_attachments = properties.TryGetProperty<bool>(mapi::tag::kHasAttach)) {
        Append(facts, static_cast<std::uint16_t>(*has_attachments));
        if (*has_attachments) AppendAttachmentSizes(facts, functions, message, tracer);
    }
    return Fold(Md5(facts));
}

}  // namespace plugins::mail_processing
