#include "mapi/ole_functions.h"

#include "internal/helpers/hresult_exception.h"
#include "vek/core/throw.h"

namespace plugins::mapi {
namespace {

constexpr BOOL kDeleteOnRelease = 1;
constexpr DWORD kDocfileMode = STGM_CREATE | STGM_SHARE_EXCLUSIVE | STGM_READWRITE;

void CheckPresent(bool present) {
    if (!present) vek::ThrowResult(vek::result::kNotSupported);
}

}  // namespace

vek::RefPtr<IStream> NewMemoryStream(const OleFunctions& ole) {
    CheckPresent(ole.create_stream != nullptr);
    vek::RefPtr<IStream> stream;
    helpers::CheckGiven(ole.create_stream(nullptr, kDeleteOnRelease, stream.put()), stream);
    return stream;
}

vek::RefPtr<ILockBytes> NewMemoryLockBytes(const OleFunctions& ole) {
    CheckPresent(ole.create_lock_bytes != nullptr);
    vek::RefPtr<ILockBytes> bytes;
    helpers::CheckGiven(ole.create_lock_bytes(nullptr, kDeleteOnRelease, bytes.put()), bytes);
    return bytes;
}

vek::RefPtr<IStorage> NewCompoundFile(const OleFunctions& ole, ILockBytes& bytes) {
    CheckPresent(ole.create_docfile != nullptr);
    vek::RefPtr<IStorage> file;
    helpers::CheckGiven(ole.create_docfile(&bytes, kDocfileMode, 0, file.put()), file);
    return file;
}

}  // namespace plugins::mapi
