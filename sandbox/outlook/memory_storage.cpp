#include "sandbox/outlook/memory_storage.h"

#include <string>
#include <utility>

#include "sandbox/outlook/byte_stream.h"
#include "sandbox/outlook/storage_elements.h"
#include "sandbox/outlook/storage_transfer.h"

namespace sandbox::outlook {
namespace {

// The access bits of the STGM flags.
constexpr DWORD kAccessMask = 3;

bool AsksForWriting(DWORD mode) { return (mode & kAccessMask) != STGM_READ; }

}  // namespace

MemoryStorage::MemoryStorage(std::shared_ptr<Runtime> runtime, std::shared_ptr<StorageNode> node,
                             Mode mode, vek::RefPtr<ILockBytes> home)
    : ComObject(std::move(runtime)), node_(std::move(node)), mode_(mode), home_(std::move(home)) {}

std::shared_ptr<StorageNode> MemoryStorage::Find(const WCHAR* name) const {
    const auto found = node_->inside.find(FromWide(name));
    return found != node_->inside.end() ? found->second : nullptr;
}

HRESULT MemoryStorage::CheckMode(DWORD mode) const {
    return AsksForWriting(mode) && mode_ == Mode::kReading ? STG_E_ACCESSDENIED : S_OK;
}

HRESULT MemoryStorage::CheckNew(const WCHAR* name, DWORD mode) const {
    if (mode_ == Mode::kReading) return STG_E_ACCESSDENIED;
    if (!IsElementName(FromWide(name))) return STG_E_INVALIDNAME;
    const auto there = Find(name);
    const bool replacing = there && there->bytes && (mode & STGM_CREATE) != 0;
    return there && !replacing ? STG_E_FILEALREADYEXISTS : S_OK;
}

HRESULT MemoryStorage::GiveStream(std::shared_ptr<StorageNode> node, DWORD mode, IStream** out) {
    const ByteStream::Mode access{(mode & kAccessMask) != STGM_WRITE, AsksForWriting(mode)};
    Content bytes = node->bytes;
    auto sink = [node = std::move(node)](const Content& written) {
        node->bytes = written;
        return S_OK;
    };
    return GiveTo(
        out, vek::MakeObject<ByteStream>(runtime(), std::move(bytes), access, std::move(sink)));
}

HRESULT MemoryStorage::GiveStorage(std::shared_ptr<StorageNode> node, DWORD mode, IStorage** out) {
    return GiveTo(out, vek::MakeObject<MemoryStorage>(
                           runtime(), std::move(node),
                           AsksForWriting(mode) ? Mode::kWriting : Mode::kReading));
}

HRESULT MemoryStorage::CreateStream(const WCHAR* name, DWORD mode, DWORD, DWORD, IStream** stream) {
    return Enter(Call::kStorageCreateStream, [&]() -> HRESULT {
        if (stream == nullptr) return STG_E_INVALIDPOINTER;
        *stream = nullptr;
        if (const HRESULT code = CheckNew(name, mode); FAILED(code)) return code;
        auto node = std::make_shared<StorageNode>();
        node->bytes = std::make_shared<const std::string>();
        node_->inside.insert_or_assign(FromWide(name), node);
        return GiveStream(std::move(node), mode, stream);
    });
}

HRESULT MemoryStorage::OpenStream(const WCHAR* name, void*, DWORD mode, DWORD, IStream** stream) {
    return Enter(Call::kStorageOpenStream, [&]() -> HRESULT {
        if (stream == nullptr) return STG_E_INVALIDPOINTER;
        *stream = nullptr;
        if (const HRESULT code = CheckMode(mode); FAILED(code)) return code;
        auto node = Find(name);
        if (!node || !node->bytes) return STG_E_FILENOTFOUND;
        return GiveStream(std::move(node), mode, stream);
    });
}

HRESULT MemoryStorage::CreateStorage(const WCHAR* name, DWORD mode, DWORD, DWORD,
                                     IStorage** storage) {
    return Enter(Call::kStorageCreateStorage, [&]() -> HRESULT {
        if (storage == nullptr) return STG_E_INVALIDPOINTER;
        *storage = nullptr;
        if (const HRESULT code = CheckNew(name, 0); FAILED(code)) return code;
        auto node = std::make_shared<StorageNode>();
        node_->inside.emplace(FromWide(name), node);
        return GiveStorage(std::move(node), mode, storage);
    });
}

HRESULT MemoryStorage::OpenStorage(const WCHAR* name, IStorage*, DWORD mode, SNB, DWORD,
                                   IStorage** storage) {
    return Enter(Call::kStorageOpenStorage, [&]() -> HRESULT {
        if (storage == nullptr) return STG_E_INVALIDPOINTER;
        *storage = nullptr;
        if (const HRESULT code = CheckMode(mode); FAILED(code)) return code;
        auto node = Find(name);
        if (!node || node->bytes) return STG_E_FILENOTFOUND;
        return GiveStorage(std::move(node), mode, storage);
    });
}

HRESULT MemoryStorage::CopyTo(DWORD excluded, const IID*, SNB names, IStorage* target) {
    return Enter(Call::kStorageCopyTo, [&]() -> HRESULT {
        if (target == nullptr) return STG_E_INVALIDPOINTER;
        if (excluded != 0 || names != nullptr) return STG_E_UNIMPLEMENTEDFUNCTION;
        return WriteStorage(*node_, *target);  // committing is the caller's
    });
}

HRESULT MemoryStorage::Commit(DWORD) {
    return Enter(Call::kStorageCommit, [&]() -> HRESULT {
        if (!home_) return S_OK;
        const std::string bytes = EncodeStorage(*node_);
        ULARGE_INTEGER size{};
        size.QuadPart = bytes.size();
        const HRESULT code = home_->SetSize(size);
        if (FAILED(code)) return code;
        ULONG written = 0;
        return home_->WriteAt(ULARGE_INTEGER{}, bytes.data(), static_cast<ULONG>(bytes.size()),
                              &written);
    });
}

HRESULT MemoryStorage::EnumElements(DWORD, void*, DWORD, IEnumSTATSTG** elements) {
    return Enter(Call::kStorageEnumElements, [&]() -> HRESULT {
        if (elements == nullptr) return STG_E_INVALIDPOINTER;
        return GiveTo(elements, vek::MakeObject<StorageElements>(runtime(), node_));
    });
}

HRESULT MemoryStorage::Stat(STATSTG* facts, DWORD) {
    return Enter(Call::kStorageStat, [&]() -> HRESULT {
        if (facts == nullptr) return STG_E_INVALIDPOINTER;
        *facts = {};  // without a name
        facts->type = STGTY_STORAGE;
        facts->grfMode = mode_ == Mode::kWriting ? STGM_READWRITE : STGM_READ;
        return S_OK;
    });
}

}  // namespace sandbox::outlook
