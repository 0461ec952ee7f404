#pragma once

// Reads the rows of MAPI tables.

#include <span>

#include "mapi/mapi_memory.h"
#include "vek/core/source_location.h"

namespace plugins::mapi {

// Reads every row of `table` with these columns. Raises helpers::HResultCodeException.
void QueryAllRows(const MapiFunctions& functions, IMAPITable& table, std::span<const ULONG> columns,
                  RowSet& rows, vek::SourceLocation place = vek::SourceLocation::Here());

// The rows of a set, valid as long as it; none for a set that was never filled.
inline std::span<const SRow> Rows(const RowSet& rows) noexcept {
    return rows ? std::span<const SRow>(rows->aRow, rows->cRows) : std::span<const SRow>();
}

// The value of column `index` of `row`, or null when the row has no value of `tag` there: another
// tag, an error in its place, or fewer columns.
const SPropValue* ColumnValue(const SRow& row, std::size_t index, ULONG tag) noexcept;

}  // namespace plugins::mapi
