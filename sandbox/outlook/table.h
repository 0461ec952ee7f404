#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "sandbox/outlook/com_object.h"
#include "sandbox/outlook/mapi_values.h"

namespace sandbox::outlook {

// The rows behind a table, as they are at the moment.
class TableRows {
public:
    virtual ~TableRows() = default;
    virtual std::size_t Count() const = 0;
    // Ascends with the rows and stays with its row when others go.
    virtual ULONG Key(std::size_t row) const = 0;
    // `tag` is a kept tag.
    virtual std::optional<PropertyValue> Get(std::size_t row, ULONG tag) const = 0;
    // Kept tags of the columns that a table starts with.
    virtual std::vector<ULONG> StandardColumns() const = 0;
};

// A table that follows its rows: a row that goes takes no other row's turn.
class Table final : public ComObject<IMAPITable, iid::kTable> {
public:
    // `flags` with MAPI_UNICODE makes the standard columns wide.
    Table(std::shared_ptr<Runtime> runtime, std::unique_ptr<TableRows> rows, ULONG flags);

    HRESULT STDMETHODCALLTYPE SetColumns(SPropTagArray* columns, ULONG flags) final;
    HRESULT STDMETHODCALLTYPE QueryColumns(ULONG flags, SPropTagArray** columns) final;
    HRESULT STDMETHODCALLTYPE GetRowCount(ULONG flags, ULONG* count) final;
    HRESULT STDMETHODCALLTYPE SeekRow(BOOKMARK origin, LONG rows, LONG* sought) final;
    HRESULT STDMETHODCALLTYPE QueryPosition(ULONG* row, ULONG* numerator, ULONG* denominator) final;
    HRESULT STDMETHODCALLTYPE FindRow(SRestriction* restriction, BOOKMARK origin,
                                      ULONG flags) final;
    HRESULT STDMETHODCALLTYPE QueryRows(LONG count, ULONG flags, SRowSet** rows) final;

    HRESULT STDMETHODCALLTYPE GetLastError(HRESULT, ULONG, MAPIERROR**) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE Advise(ULONG, IMAPIAdviseSink*, ULONG*) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE Unadvise(ULONG) final { return Unsupported(); }
    HRESULT STDMETHODCALLTYPE GetStatus(ULONG*, ULONG*) final { return Unsupported(); }
    HRESULT STDMETHODCALLTYPE SeekRowApprox(ULONG, ULONG) final { return Unsupported(); }
    HRESULT STDMETHODCALLTYPE Restrict(SRestriction*, ULONG) final { return Unsupported(); }
    HRESULT STDMETHODCALLTYPE CreateBookmark(BOOKMARK*) final { return Unsupported(); }
    HRESULT STDMETHODCALLTYPE FreeBookmark(BOOKMARK) final { return Unsupported(); }
    HRESULT STDMETHODCALLTYPE SortTable(SSortOrderSet*, ULONG) final { return Unsupported(); }
    HRESULT STDMETHODCALLTYPE QuerySortOrder(SSortOrderSet**) final { return Unsupported(); }
    HRESULT STDMETHODCALLTYPE Abort() final { return Unsupported(); }
    HRESULT STDMETHODCALLTYPE ExpandRow(ULONG, BYTE*, ULONG, ULONG, SRowSet**, ULONG*) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE CollapseRow(ULONG, BYTE*, ULONG, ULONG*) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE WaitForCompletion(ULONG, ULONG, ULONG*) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE GetCollapseState(ULONG, ULONG, BYTE*, ULONG*, BYTE**) final {
        return Unsupported();
    }
    HRESULT STDMETHODCALLTYPE SetCollapseState(ULONG, ULONG, BYTE*, BOOKMARK*) final {
        return Unsupported();
    }

private:
    // The row that the cursor is before, or the number of rows at the end.
    std::size_t Position() const;
    void MoveTo(std::size_t row);
    std::optional<std::size_t> Origin(BOOKMARK bookmark) const;

    const std::unique_ptr<TableRows> rows_;
    std::vector<ULONG> columns_;
    std::uint64_t cursor_ = 0;  // before the first row whose key is not less
};

}  // namespace sandbox::outlook
