#include "sandbox/outlook/table.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "sandbox/outlook/property_bag.h"
#include "sandbox/outlook/property_holder.h"
#include "vek/core/text.h"

namespace sandbox::outlook {
namespace {

class RowView final : public PropertySource {
public:
    // Of texts the first `longest` characters are shown.
    RowView(const TableRows& rows, std::size_t row, std::size_t longest)
        : rows_(rows), row_(row), longest_(longest) {}

    std::optional<PropertyValue> Get(ULONG tag) const override {
        auto value = rows_.Get(row_, tag);
        if (!value || value->type() != PT_UNICODE || value->Size() <= longest_) return value;
        return PropertyValue::Text(
            vek::ToUtf8(vek::ToUtf16(*value->content()).substr(0, longest_)));
    }
    std::vector<ULONG> Tags() const override { return rows_.StandardColumns(); }

private:
    const TableRows& rows_;
    const std::size_t row_;
    const std::size_t longest_;
};

// Owns a row set until it is handed over: each row is a buffer of its own, and so is the set.
class OwnedRows {
public:
    OwnedRows(Runtime& runtime, std::size_t capacity)
        : runtime_(runtime),
          set_(runtime.memory(), std::max(sizeof(SRowSet), CbNewSRowSet(capacity))) {
        set()->cRows = 0;
    }
    ~OwnedRows() {
        if (set_.get() == nullptr) return;
        for (std::size_t i = 0; i != set()->cRows; ++i) runtime_.memory().Free(rows()[i].lpProps);
    }
    OwnedRows(const OwnedRows&) = delete;
    OwnedRows& operator=(const OwnedRows&) = delete;

    void Add(const RowView& row, std::span<const ULONG> columns) {
        OwnedBuffer values(runtime_.memory(), columns.size() * sizeof(SPropValue));
        FillValues(runtime_, values.get(), row, columns, 0, static_cast<SPropValue*>(values.get()));
        rows()[set()->cRows++] = {0, static_cast<ULONG>(columns.size()),
                                  static_cast<SPropValue*>(values.detach())};
    }

    [[nodiscard]] SRowSet* detach() { return static_cast<SRowSet*>(set_.detach()); }

private:
    SRowSet* set() { return static_cast<SRowSet*>(set_.get()); }
    SRow* rows() { return set()->aRow; }

    Runtime& runtime_;
    OwnedBuffer set_;
};

}  // namespace

Table::Table(std::shared_ptr<Runtime> runtime, std::unique_ptr<TableRows> rows, ULONG flags)
    : ComObject(std::move(runtime)), rows_(std::move(rows)), columns_(rows_->StandardColumns()) {
    for (ULONG& column : columns_) column = ShownTag(column, flags);
}

std::size_t Table::Position() const {
    std::size_t first = 0;
    std::size_t last = rows_->Count();
    while (first != last) {
        const std::size_t middle = first + (last - first) / 2;
        if (rows_->Key(middle) < cursor_)
            first = middle + 1;
        else
            last = middle;
    }
    return first;
}

void Table::MoveTo(std::size_t row) {
    if (row < rows_->Count())
        cursor_ = rows_->Key(row);
    else
        cursor_ = row == 0 ? 0 : std::uint64_t{rows_->Key(row - 1)} + 1;
}

std::optional<std::size_t> Table::Origin(BOOKMARK bookmark) const {
    switch (bookmark) {
        case BOOKMARK_BEGINNING:
            return 0;
        case BOOKMARK_CURRENT:
            return Position();
        case BOOKMARK_END:
            return rows_->Count();
        default:
            return std::nullopt;
    }
}

HRESULT Table::SetColumns(SPropTagArray* columns, ULONG flags) {
    return Enter(Call::kSetColumns, [&]() -> HRESULT {
        if (runtime()->Refuses(flags, TBL_BATCH)) return MAPI_E_UNKNOWN_FLAGS;
        if (columns == nullptr || columns->cValues == 0) return MAPI_E_INVALID_PARAMETER;
        const ULONG* const first = columns->aulPropTag;
        columns_.assign(first, first + columns->cValues);
        return S_OK;
    });
}

HRESULT Table::QueryColumns(ULONG flags, SPropTagArray** columns) {
    return Enter(Call::kQueryColumns, [&]() -> HRESULT {
        if (runtime()->Refuses(flags, TBL_ALL_COLUMNS)) return MAPI_E_UNKNOWN_FLAGS;
        if (columns == nullptr) return MAPI_E_INVALID_PARAMETER;
        *columns = GiveTags(memory(), columns_);
        return S_OK;
    });
}

HRESULT Table::GetRowCount(ULONG flags, ULONG* count) {
    return Enter(Call::kGetRowCount, [&]() -> HRESULT {
        if (runtime()->Refuses(flags, 0)) return MAPI_E_UNKNOWN_FLAGS;
        if (count == nullptr) return MAPI_E_INVALID_PARAMETER;
        *count = static_cast<ULONG>(rows_->Count());
        return S_OK;
    });
}

HRESULT Table::SeekRow(BOOKMARK origin, LONG rows, LONG* sought) {
    return Enter(Call::kSeekRow, [&]() -> HRESULT {
        const auto start = Origin(origin);
        if (!start) return MAPI_E_INVALID_BOOKMARK;
        const auto from = static_cast<std::int64_t>(*start);
        const auto to =
            std::clamp<std::int64_t>(from + rows, 0, static_cast<std::int64_t>(rows_->Count()));
        MoveTo(static_cast<std::size_t>(to));
        if (sought != nullptr) *sought = static_cast<LONG>(to - from);
        return S_OK;
    });
}

HRESULT Table::QueryPosition(ULONG* row, ULONG* numerator, ULONG* denominator) {
    return Enter(Call::kQueryPosition, [&]() -> HRESULT {
        if (row == nullptr || numerator == nullptr || denominator == nullptr)
            return MAPI_E_INVALID_PARAMETER;
        *row = *numerator = static_cast<ULONG>(Position());
        *denominator = static_cast<ULONG>(std::max<std::size_t>(rows_->Count(), 1));
        return S_OK;
    });
}

HRESULT Table::FindRow(SRestriction* restriction, BOOKMARK origin, ULONG flags) {
    return Enter(Call::kFindRow, [&]() -> HRESULT {
        if (restriction == nullptr) return MAPI_E_INVALID_PARAMETER;
        if (runtime()->Refuses(flags, DIR_BACKWARD)) return MAPI_E_UNKNOWN_FLAGS;
        const auto start = Origin(origin);
        if (!start) return MAPI_E_INVALID_BOOKMARK;
        const SPropertyRestriction& wanted = restriction->res.resProperty;
        if (restriction->rt != RES_PROPERTY || wanted.relop != RELOP_EQ ||
            (flags & DIR_BACKWARD) != 0)
            return MAPI_E_TOO_COMPLEX;
        const auto value = wanted.lpProp != nullptr
                               ? TakeValue(*wanted.lpProp, runtime()->traits().code_page)
                               : std::nullopt;
        if (!value) return MAPI_E_INVALID_PARAMETER;
        for (std::size_t row = *start; row != rows_->Count(); ++row) {
            if (rows_->Get(row, KeptTag(wanted.ulPropTag)) == value) {
                MoveTo(row);
                return S_OK;
            }
        }
        return MAPI_E_NOT_FOUND;
    });
}

HRESULT Table::QueryRows(LONG count, ULONG flags, SRowSet** rows) {
    return Enter(Call::kQueryRows, [&]() -> HRESULT {
        if (rows == nullptr) return MAPI_E_INVALID_PARAMETER;
        *rows = nullptr;
        if (runtime()->Refuses(flags, TBL_NOADVANCE)) return MAPI_E_UNKNOWN_FLAGS;
        if (count < 0) return MAPI_E_NO_SUPPORT;
        const std::size_t first = Position();
        const std::size_t given = std::min(static_cast<std::size_t>(count), rows_->Count() - first);
        OwnedRows set(*runtime(), given);
        for (std::size_t row = first; row != first + given; ++row)
            set.Add(RowView(*rows_, row, runtime()->traits().longest_column), columns_);
        if ((flags & TBL_NOADVANCE) == 0) MoveTo(first + given);
        *rows = set.detach();
        SRow* const rows_given = (*rows)->aRow;
        if (const auto& distort = runtime()->distortion().row) {
            for (std::size_t i = 0; i != given; ++i) distort(rows_given[i]);
        }
        return S_OK;
    });
}

}  // namespace sandbox::outlook
