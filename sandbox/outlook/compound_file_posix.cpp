#include <cstdlib>
#include <new>

#include "sandbox/outlook/compound_file.h"
#include "sandbox/outlook/entry_points.h"
#include "sandbox/outlook/memory_storage.h"

namespace sandbox::outlook {

plugins::mapi::OleFunctions EntryPoints::Ole() {
    return {&CreateStream, &CreateLockBytes, &CreateDocfile};
}

HRESULT OpenStorage(const std::shared_ptr<Runtime>& runtime, const StorageNode& content,
                    IStorage** out) {
    return GiveTo(out, vek::MakeObject<MemoryStorage>(runtime, CopyNodes(content),
                                                      MemoryStorage::Mode::kReading));
}

std::shared_ptr<StorageNode> ReadCompoundFile(std::string_view bytes) {
    return DecodeStorage(bytes);
}

WCHAR* NewElementName(std::u16string_view name) {
    auto* const copy = static_cast<WCHAR*>(std::calloc(name.size() + 1, sizeof(WCHAR)));
    if (copy == nullptr) throw std::bad_alloc();
    name.copy(copy, name.size());
    return copy;
}

ElementName::~ElementName() { std::free(name_); }

}  // namespace sandbox::outlook
