#include "sandbox/outlook/entry_points.h"

#include <atomic>
#include <limits>
#include <new>
#include <stdexcept>
#include <thread>

#include "sandbox/outlook/byte_stream.h"
#include "sandbox/outlook/memory_bytes.h"
#include "sandbox/outlook/memory_storage.h"
#include "sandbox/outlook/rtf_stream.h"
#include "sandbox/outlook/session.h"

namespace sandbox::outlook {
namespace {

std::atomic<MapiSubsystem*> current{nullptr};

// The result of MAPIFreeBuffer for a buffer that it does not know.
constexpr ULONG kFreeFailed = static_cast<ULONG>(MAPI_E_CALL_FAILED);

// The border of every entry point.
template <class Body>
HRESULT Enter(Runtime& runtime, Call kind, Body&& body) noexcept {
    try {
        const HRESULT entered = runtime.Enter(kind, std::this_thread::get_id());
        return entered == S_OK ? body() : entered;
    } catch (const std::bad_alloc&) {
        return MAPI_E_NOT_ENOUGH_MEMORY;
    } catch (...) {
        return MAPI_E_CALL_FAILED;
    }
}

}  // namespace

void EntryPoints::Attach(MapiSubsystem* subsystem) {
    MapiSubsystem* none = nullptr;
    if (!current.compare_exchange_strong(none, subsystem))
        throw std::logic_error("there is a MAPI subsystem in this process already");
}

void EntryPoints::Detach() { current = nullptr; }

bool EntryPoints::IsAttached() { return current != nullptr; }

plugins::mapi::MapiFunctions EntryPoints::Table() {
    const MapiSubsystem* const mapi = current;
    const unsigned page =
        mapi != nullptr ? mapi->runtime_->traits().code_page : vek::platform::kAnsiCodePage;
    return {&Initialize,   &Uninitialize, &LogonEx,  &GetOneProp,
            &QueryAllRows, &FreeBuffer,   &FreeRows, &WrapCompressedRtfStream,
            page,          Ole()};
}

HRESULT EntryPoints::Initialize(void* init) {
    MapiSubsystem* const mapi = current;
    if (mapi == nullptr) return MAPI_E_NOT_INITIALIZED;
    return Enter(*mapi->runtime_, Call::kInitialize, [&]() -> HRESULT {
        const std::lock_guard lock(mapi->mutex_);
        const auto* const record = static_cast<const MAPIINIT_0*>(init);
        const ULONG flags = record != nullptr ? record->ulFlags : 0;
        mapi->initialize_flags_.push_back(flags);
        if (mapi->runtime_->Refuses(flags,
                                    MAPI_MULTITHREAD_NOTIFICATIONS | plugins::mapi::kNoCoInit))
            return MAPI_E_UNKNOWN_FLAGS;
        ++mapi->initializations_;
        mapi->runtime_->NoteInitialize();
        return S_OK;
    });
}

void EntryPoints::Uninitialize() {
    MapiSubsystem* const mapi = current;
    if (mapi == nullptr) return;
    const std::lock_guard lock(mapi->mutex_);
    --mapi->initializations_;
    mapi->runtime_->NoteUninitialize();
}

HRESULT EntryPoints::LogonEx(ULONG_PTR, LPTSTR, LPTSTR, ULONG flags, IMAPISession** session) {
    MapiSubsystem* const mapi = current;
    if (mapi == nullptr) return MAPI_E_NOT_INITIALIZED;
    return Enter(*mapi->runtime_, Call::kLogonEx, [&]() -> HRESULT {
        if (session == nullptr) return MAPI_E_INVALID_PARAMETER;
        *session = nullptr;
        const std::lock_guard lock(mapi->mutex_);
        if (mapi->initializations_ <= 0) return MAPI_E_NOT_INITIALIZED;
        mapi->logon_flags_.push_back(flags);
        if (mapi->runtime_->Refuses(flags, MAPI_EXTENDED | plugins::mapi::kBackgroundSession))
            return MAPI_E_UNKNOWN_FLAGS;
        return GiveTo(session, vek::MakeObject<Session>(mapi->runtime_, mapi->store_));
    });
}

HRESULT EntryPoints::GetOneProp(IMAPIProp* object, ULONG tag, SPropValue** value) {
    MapiSubsystem* const mapi = current;
    if (mapi == nullptr) return MAPI_E_NOT_INITIALIZED;
    return Enter(*mapi->runtime_, Call::kGetOneProp, [&]() -> HRESULT {
        if (object == nullptr || value == nullptr) return MAPI_E_INVALID_PARAMETER;
        *value = nullptr;
        SPropTagArray tags{1, {tag}};
        ULONG count = 0;
        SPropValue* found = nullptr;
        const HRESULT code = object->GetProps(&tags, 0, &count, &found);
        if (FAILED(code) || found == nullptr) return code;
        if (PROP_TYPE(found->ulPropTag) == PT_ERROR) {
            const HRESULT error = found->Value.err;
            mapi->memory().Free(found);
            return error;
        }
        *value = found;
        return S_OK;
    });
}

HRESULT EntryPoints::QueryAllRows(IMAPITable* table, SPropTagArray* columns,
                                  SRestriction* restriction, SSortOrderSet* order, LONG max_rows,
                                  SRowSet** rows) {
    MapiSubsystem* const mapi = current;
    if (mapi == nullptr) return MAPI_E_NOT_INITIALIZED;
    return Enter(*mapi->runtime_, Call::kQueryAllRows, [&]() -> HRESULT {
        if (table == nullptr || rows == nullptr) return MAPI_E_INVALID_PARAMETER;
        *rows = nullptr;
        HRESULT code = S_OK;
        if (columns != nullptr) code = table->SetColumns(columns, TBL_BATCH);
        if (SUCCEEDED(code) && restriction != nullptr)
            code = table->Restrict(restriction, TBL_BATCH);
        if (SUCCEEDED(code) && order != nullptr) code = table->SortTable(order, TBL_BATCH);
        if (SUCCEEDED(code)) code = table->SeekRow(BOOKMARK_BEGINNING, 0, nullptr);
        if (FAILED(code)) return code;
        // One more than is wanted shows whether there are too many.
        constexpr LONG kAll = std::numeric_limits<LONG>::max();
        const LONG asked = max_rows > 0 && max_rows < kAll ? max_rows + 1 : kAll;
        SRowSet* found = nullptr;
        code = table->QueryRows(asked, 0, &found);
        if (FAILED(code)) return code;
        if (max_rows > 0 && found->cRows > static_cast<ULONG>(max_rows)) {
            FreeRows(found);
            return MAPI_E_TABLE_TOO_BIG;
        }
        *rows = found;
        return S_OK;
    });
}

ULONG EntryPoints::FreeBuffer(void* buffer) {
    MapiSubsystem* const mapi = current;
    return mapi != nullptr && mapi->memory().Free(buffer) ? 0 : kFreeFailed;
}

void EntryPoints::FreeRows(SRowSet* rows) {
    if (rows == nullptr) return;
    SRow* const first = rows->aRow;
    for (ULONG i = 0; i != rows->cRows; ++i) FreeBuffer(first[i].lpProps);
    FreeBuffer(rows);
}

HRESULT EntryPoints::WrapCompressedRtfStream(IStream* compressed, ULONG flags, IStream** plain) {
    MapiSubsystem* const mapi = current;
    if (mapi == nullptr) return MAPI_E_NOT_INITIALIZED;
    return Enter(*mapi->runtime_, Call::kWrapCompressedRtfStream,
                 [&] { return WrapRtfStream(mapi->runtime_, compressed, flags, plain); });
}

HRESULT EntryPoints::CreateStream(void*, BOOL, IStream** stream) {
    MapiSubsystem* const mapi = current;
    if (mapi == nullptr) return MAPI_E_NOT_INITIALIZED;
    return Enter(*mapi->runtime_, Call::kCreateStream, [&]() -> HRESULT {
        if (stream == nullptr) return E_INVALIDARG;
        return GiveTo(stream, vek::MakeObject<ByteStream>(mapi->runtime_,
                                                          std::make_shared<const std::string>(),
                                                          ByteStream::Mode{true, true}));
    });
}

HRESULT EntryPoints::CreateLockBytes(void*, BOOL, ILockBytes** bytes) {
    MapiSubsystem* const mapi = current;
    if (mapi == nullptr) return MAPI_E_NOT_INITIALIZED;
    return Enter(*mapi->runtime_, Call::kCreateLockBytes, [&]() -> HRESULT {
        if (bytes == nullptr) return E_INVALIDARG;
        return GiveTo(bytes, vek::MakeObject<MemoryBytes>(mapi->runtime_));
    });
}

HRESULT EntryPoints::CreateDocfile(ILockBytes* bytes, DWORD, DWORD reserved, IStorage** file) {
    MapiSubsystem* const mapi = current;
    if (mapi == nullptr) return MAPI_E_NOT_INITIALIZED;
    return Enter(*mapi->runtime_, Call::kCreateDocfile, [&]() -> HRESULT {
        if (bytes == nullptr || file == nullptr) return STG_E_INVALIDPOINTER;
        if (reserved != 0) return STG_E_INVALIDPARAMETER;
        return GiveTo(
            file, vek::MakeObject<MemoryStorage>(mapi->runtime_, std::make_shared<StorageNode>(),
                                                 MemoryStorage::Mode::kWriting,
                                                 vek::RefPtr<ILockBytes>::Share(bytes)));
    });
}

}  // namespace sandbox::outlook
