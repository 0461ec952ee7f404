#include "sandbox/outlook/compound_file.h"

#include <algorithm>
#include <new>
#include <stdexcept>

#include "mapi/ole_functions.h"
#include "sandbox/outlook/entry_points.h"
#include "sandbox/outlook/storage_transfer.h"
// The order matters: it needs windows.h.
#include <ole2.h>

namespace sandbox::outlook {
namespace {

namespace mapi = plugins::mapi;

HRESULT OpenOnBytes(ILockBytes& bytes, IStorage** out) {
    return StgOpenStorageOnILockBytes(&bytes, nullptr, kReadElement, nullptr, 0, out);
}

}  // namespace

plugins::mapi::OleFunctions EntryPoints::Ole() { return mapi::SystemOleFunctions(); }

HRESULT OpenStorage(const std::shared_ptr<Runtime>&, const StorageNode& content, IStorage** out) {
    const mapi::OleFunctions ole = mapi::SystemOleFunctions();
    const vek::RefPtr<ILockBytes> bytes = mapi::NewMemoryLockBytes(ole);
    vek::RefPtr<IStorage> file = mapi::NewCompoundFile(ole, *bytes);
    HRESULT code = WriteStorage(content, *file);
    if (SUCCEEDED(code)) code = file->Commit(STGC_DEFAULT);
    file.reset();
    return SUCCEEDED(code) ? OpenOnBytes(*bytes, out) : code;
}

std::shared_ptr<StorageNode> ReadCompoundFile(std::string_view content) {
    const vek::RefPtr<ILockBytes> bytes = mapi::NewMemoryLockBytes(mapi::SystemOleFunctions());
    auto root = std::make_shared<StorageNode>();
    vek::RefPtr<IStorage> file;
    ULONG written = 0;
    HRESULT code = bytes->WriteAt(ULARGE_INTEGER{}, content.data(),
                                  static_cast<ULONG>(content.size()), &written);
    if (SUCCEEDED(code)) code = OpenOnBytes(*bytes, file.put());
    if (SUCCEEDED(code)) code = ReadStorage(*file, *root);
    if (FAILED(code)) throw std::runtime_error("this is no compound file");
    return root;
}

WCHAR* NewElementName(std::u16string_view name) {
    auto* const copy = static_cast<WCHAR*>(CoTaskMemAlloc((name.size() + 1) * sizeof(WCHAR)));
    if (copy == nullptr) throw std::bad_alloc();
    *std::copy(name.begin(), name.end(), copy) = 0;
    return copy;
}

ElementName::~ElementName() { CoTaskMemFree(name_); }

}  // namespace sandbox::outlook
