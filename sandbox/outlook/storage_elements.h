#pragma once

#include <memory>
#include <string>

#include "sandbox/outlook/com_object.h"
#include "sandbox/outlook/storage_node.h"

namespace sandbox::outlook {

// Walks the elements of a storage in the order of their names. It may change meanwhile.
class StorageElements final : public ComObject<IEnumSTATSTG, iid::kEnumStatStg> {
public:
    StorageElements(std::shared_ptr<Runtime> runtime, std::shared_ptr<const StorageNode> storage)
        : ComObject(std::move(runtime)), storage_(std::move(storage)) {}

    // The caller frees the names (ElementName). S_FALSE when there are fewer than `count`.
    HRESULT STDMETHODCALLTYPE Next(ULONG count, STATSTG* elements, ULONG* given) final;
    HRESULT STDMETHODCALLTYPE Skip(ULONG count) final;
    HRESULT STDMETHODCALLTYPE Reset() final;
    HRESULT STDMETHODCALLTYPE Clone(IEnumSTATSTG**) final { return Unsupported(); }

private:
    const std::shared_ptr<const StorageNode> storage_;
    std::u16string last_;  // the name passed last, empty at the start
};

}  // namespace sandbox::outlook
