#include "mapi/table_rows.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "internal/helpers/hresult_exception.h"

namespace plugins::mapi {
namespace {

// A property tag array of any length: the declared array has one element.
class TagArray {
public:
    explicit TagArray(std::span<const ULONG> tags) : storage_(1 + tags.size()) {
        storage_[0] = static_cast<ULONG>(tags.size());
        std::copy(tags.begin(), tags.end(), storage_.begin() + 1);
    }
    SPropTagArray* get() noexcept { return reinterpret_cast<SPropTagArray*>(storage_.data()); }

private:
    static_assert(offsetof(SPropTagArray, aulPropTag) == sizeof(ULONG));
    std::vector<ULONG> storage_;
};

}  // namespace

void QueryAllRows(const MapiFunctions& functions, IMAPITable& table, std::span<const ULONG> columns,
                  RowSet& rows, vek::SourceLocation place) {
    TagArray tags(columns);
    helpers::CheckHResult(
        functions.query_all_rows(&table, tags.get(), nullptr, nullptr, 0, rows.put()), place);
}

const SPropValue* ColumnValue(const SRow& row, std::size_t index, ULONG tag) noexcept {
    if (index >= row.cValues || row.lpProps == nullptr) return nullptr;
    const SPropValue& value = row.lpProps[index];
    return value.ulPropTag == tag ? &value : nullptr;
}

}  // namespace plugins::mapi
