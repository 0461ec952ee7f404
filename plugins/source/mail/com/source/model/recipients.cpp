#include "model/recipients.h"

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

constexpr std::array<ULONG, 4> kColumns = {mapi::tag::kRecipientType, mapi::tag::kDisplayNameA,
                                           mapi::tag::kAddrTypeA, mapi::tag::kEmailAddressA};

// The text in column `index`; null where the row has none.
const char* Text(const SRow& row, std::size_t index) noexcept {
    const SPropValue* value = mapi::ColumnValue(row, index, kColumns[index]);
    return value == nullptr ? nullptr : value->Value.lpszA;
}

}  // namespace

std::string RecipientList(const mapi::MapiFunctions& functions, IMessage& message, LONG type) {
    vek::RefPtr<IMAPITable> table;
    helpers::CheckGiven(message.GetRecipientTable(0, table.put()), table);
    mapi::RowSet rows(functions);
    mapi::QueryAllRows(functions, *table, kColumns, rows);
    if (rows.rows().empty()) vek::ThrowResult(vek::result::kPropertyNotFound);

    std::string list;
    for (const SRow& row : rows.rows()) {
        const SPropValue* row_type = mapi::ColumnValue(row, 0, kColumns[0]);
        if (row_type == nullptr || row_type->Value.l != type) continue;
        const char* const name = Text(row, 1);
        const char* const address_type = Text(row, 2);
        const char* const address = Text(row, 3);
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
