#include "sandbox/outlook/compound_file.h"

#include <algorithm>
#include <new>
#include <stdexcept>

#include "sandbox/outlook/entry_points.h"
#include "sandbox/outlook/storage_transfer.h"
// The order matters: it needs windows.h.
#include <ole2.h>

namespace sandbox::outlook {
namespace {

HRESULT OpenOnBytes(ILockBytes& bytes, IStorage** out) {
    return StgOpenStorageOnILockBytes(&bytes, nullptr, kReadElement, nullptr, 0, out);
}

}  // namespace

plugins::mapi::OleFunctions EntryPoints::Ole() {
    return {&CreateStreamOnHGlobal, &CreateILockBytesOnHGlobal, &StgCreateDocfileOnILockBytes};
}

HRESULT OpenStorage(const std::shared_ptr<Runtime>&, const StorageNode& content, IStorage** out) {
    vek::RefPtr<ILockBytes> bytes;
    HRESULT code = CreateILockBytesOnHGlobal(nullptr, TRUE, bytes.put());
    vek::RefPtr<IStorage> file;
    constexpr DWORD kNew = STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE;
    if (SUCCEEDED(code)) code = StgCreateDocfileOnILockBytes(bytes.get(), kNew, 0, file.put());
    if (SUCCEEDED(code)) code = WriteStorage(content, *file);
    if (SUCCEEDED(code)) code = file->Commit(STGC_DEFAULT);
    file.reset();
    return SUCCEEDED(code) ? OpenOnBytes(*bytes, out) : code;
}

std::shared_ptr<StorageNode> ReadCompoundFile(std::string_view content) {
    vek::RefPtr<ILockBytes> bytes;
    HRESULT code = CreateILockBytesOnHGlobal(nullptr, TRUE, bytes.put());
    auto root = std::make_shared<StorageNode>();
    vek::RefPtr<IStorage> file;
    ULONG written = 0;
    if (SUCCEEDED(code))
        code = bytes->WriteAt(ULARGE_INTEGER{}, content.data(), static_cast<ULONG>(content.size()),
                              &written);
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
