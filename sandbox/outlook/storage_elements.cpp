#include "sandbox/outlook/storage_elements.h"

#include "sandbox/outlook/compound_file.h"

namespace sandbox::outlook {

HRESULT StorageElements::Next(ULONG count, STATSTG* elements, ULONG* given) {
    if (given != nullptr) *given = 0;
    return Enter(Call::kEnumElements, [&]() -> HRESULT {
        if (elements == nullptr || (given == nullptr && count != 1)) return STG_E_INVALIDPOINTER;
        ULONG done = 0;
        auto next = storage_->inside.upper_bound(last_);
        for (; done != count && next != storage_->inside.end(); ++done, ++next) {
            const auto& [name, node] = *next;
            STATSTG& element = elements[done] = {};
            element.pwcsName = NewElementName(name);
            element.type = node->bytes ? STGTY_STREAM : STGTY_STORAGE;
            if (node->bytes) element.cbSize.QuadPart = node->bytes->size();
            last_ = name;
        }
        if (given != nullptr) *given = done;
        return done == count ? S_OK : S_FALSE;
    });
}

HRESULT StorageElements::Skip(ULONG count) {
    return Enter(Call::kEnumElements, [&]() -> HRESULT {
        for (; count != 0; --count) {
            const auto next = storage_->inside.upper_bound(last_);
            if (next == storage_->inside.end()) return S_FALSE;
            last_ = next->first;
        }
        return S_OK;
    });
}

HRESULT StorageElements::Reset() {
    return Enter(Call::kEnumElements, [&]() -> HRESULT {
        last_.clear();
        return S_OK;
    });
}

}  // namespace sandbox::outlook
