#include "model/message_texts.h"

#include <array>
#include <vector>

#include "internal/helpers/hresult_exception.h"
#include "mapi/interface_ids.h"
#include "mapi/mapi_memory.h"
#include "mapi/property_tags.h"
#include "mapi/table_rows.h"
#include "vek/core/throw.h"

namespace plugins::mail_processing {
namespace {

const std::string* Text(PropertiesAccessor& message, ULONG tag) {
    return message.TryGetProperty<std::string>(tag);
}

void AppendIfPresent(std::string& out, const std::string* text) {
    if (text != nullptr) out += *text;
}

constexpr std::array<ULONG, 4> kRecipientColumns = {mapi::tag::kRecipientType,
                                                    mapi::tag::kDisplayNameA, mapi::tag::kAddrTypeA,
                                                    mapi::tag::kEmailAddressA};

// The text in column `index`; null where the row has none.
const char* ColumnText(const SRow& row, std::size_t index) noexcept {
    const SPropValue* value = mapi::ColumnValue(row, index, kRecipientColumns[index]);
    return value == nullptr ? nullptr : value->Value.lpszA;
}

}  // namespace

std::string HeaderSummary(PropertiesAccessor& message) {
    std::string summary;
    const std::string* time = Text(message, mapi::tag::kProviderSubmitTime);
    if (time != nullptr) {
        summary += "[To:";
        summary += message.GetProperty<std::string>(mapi::tag::kDisplayToA);
    } else {
        summary += "[From:";
        const std::string* sender = nullptr;
        time = Text(message, mapi::tag::kClientSubmitTime);
        if (time != nullptr) {
            sender = Text(message, mapi::tag::kSenderNameA);
        } else {
            time = Text(message, mapi::tag::kLastModificationTime);
        }
        summary += sender != nullptr ? *sender : "None";
    }
    summary += "][Subject:";
    AppendIfPresent(summary, Text(message, mapi::tag::kSubjectA));
    summary += "][Time:";
    AppendIfPresent(summary, time);
    summary += "]";
    return summary;
}

std::string AddressLine(PropertiesAccessor& message, ULONG name_tag, ULONG type_tag,
                        ULONG address_tag) {
    std::string line = "\"";
    AppendIfPresent(line, Text(message, name_tag));
    line += "\" <";
    AppendIfPresent(line, Text(message, type_tag));
    line += ":";
    AppendIfPresent(line, Text(message, address_tag));
    line += ">";
    return line;
}

std::string RecipientList(const mapi::MapiFunctions& functions, IMessage& message, LONG type) {
    vek::RefPtr<IMAPITable> table;
    helpers::CheckGiven(message.GetRecipientTable(0, table.put()), table);
    mapi::RowSet rows(functions);
    mapi::QueryAllRows(functions, *table, kRecipientColumns, rows);
    if (mapi::Rows(rows).empty()) vek::ThrowResult(vek::result::kPropertyNotFound);

    std::string list;
    for (const SRow& row : mapi::Rows(rows)) {
        const SPropValue* row_type = mapi::ColumnValue(row, 0, kRecipientColumns[0]);
        if (row_type == nullptr || row_type->Value.l != type) continue;
        const char* const name = ColumnText(row, 1);
        const char* const address_type = ColumnText(row, 2);
        const char* const address = ColumnText(row, 3);
        if (name == nullptr || address_type == nullptr || address == nullptr) continue;
        list.append("\"").append(name).append("\" <").append(address_type).append(":");
        list.append(address).append(">; ");
    }
    return list;
}

std::string SenderSmtpAddress(const mapi::MapiFunctions& functions, IMAPISession* session,
                              PropertiesAccessor& message) {
    std::vector<std::byte> entry_id =
        message.GetProperty<std::vector<std::byte>>(mapi::tag::kSenderEntryId);
    vek::Check(session != nullptr);

    vek::RefPtr<IAddrBook> book;
    helpers::CheckGiven(session->OpenAddressBook(0, nullptr, AB_NO_DIALOG, book.put()), book);
    ULONG type = 0;
    vek::RefPtr<IUnknown> entry;
    helpers::CheckGiven(book->OpenEntry(static_cast<ULONG>(entry_id.size()),
                                        reinterpret_cast<ENTRYID*>(entry_id.data()), nullptr,
                                        MAPI_BEST_ACCESS, &type, entry.put()),
                        entry);
    vek::RefPtr<IMAPIProp> properties;
    vek::Check(SUCCEEDED(entry->QueryInterface(mapi::iid::kProp, properties.put_void())) &&
               properties);

    mapi::Buffer<SPropValue> address(functions);
    helpers::CheckHResult(
        functions.get_one_prop(properties.get(), mapi::tag::kSmtpAddressA, address.put()));
    vek::Check(address && PROP_TYPE(address->ulPropTag) == PT_STRING8 &&
               address->Value.lpszA != nullptr);
    return address->Value.lpszA;
}

}  // namespace plugins::mail_processing
