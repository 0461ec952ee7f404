#pragma once

// The rows of a MAPI table.

#include <span>

#include "mapi/mapi_functions.h"
#include "mapi/mapi_interfaces.h"
#include "vek/core/source_location.h"

namespace plugins::mapi {

// Owns a row set and gives it back with FreeProws. `functions` outlives it.
class RowSet {
public:
    explicit RowSet(const MapiFunctions& functions) noexcept : functions_(functions) {}
    ~RowSet() { reset(); }
    RowSet(const RowSet&) = delete;
    RowSet& operator=(const RowSet&) = delete;

    // For an out parameter.
    [[nodiscard]] SRowSet** put() noexcept {
        reset();
        return &rows_;
    }

    std::span<const SRow> rows() const noexcept {
        return rows_ == nullptr ? std::span<const SRow>() : std::span(rows_->aRow, rows_->cRows);
    }

private:
    void reset() noexcept {
        if (rows_ != nullptr) functions_.free_prows(rows_);
        rows_ = nullptr;
    }

    const MapiFunctions& functions_;
    SRowSet* rows_ = nullptr;
};

// Reads every row of `table` with these columns. Raises helpers::HResultCodeException.
void QueryAllRows(const MapiFunctions& functions, IMAPITable& table, std::span<const ULONG> columns,
                  RowSet& rows, vek::SourceLocation place = vek::SourceLocation::Here());

// The value of column `index` of `row`, or null when the row has no value of `tag` there: another
// tag, an error in its place, or fewer columns.
const SPropValue* ColumnValue(const SRow& row, std::size_t index, ULONG tag) noexcept;

}  // namespace plugins::mapi
