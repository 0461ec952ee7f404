#include "sandbox/outlook/storage_transfer.h"

#include <utility>

#include "sandbox/outlook/compound_file.h"
#include "vek/core/ref_ptr.h"

namespace sandbox::outlook {
namespace {

HRESULT WriteStream(const std::string& bytes, const WCHAR* name, IStorage& to) {
    vek::RefPtr<IStream> stream;
    HRESULT code = to.CreateStream(name, STGM_CREATE | kWriteElement, 0, 0, stream.put());
    if (SUCCEEDED(code) && !stream) code = STG_E_WRITEFAULT;  // the target is told to lie
    ULONG written = 0;
    if (SUCCEEDED(code))
        code = stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), &written);
    if (SUCCEEDED(code) && written != bytes.size()) code = STG_E_WRITEFAULT;
    return SUCCEEDED(code) ? stream->Commit(STGC_DEFAULT) : code;
}

HRESULT ReadStream(IStorage& from, const WCHAR* name, StorageNode& to) {
    vek::RefPtr<IStream> stream;
    HRESULT code = from.OpenStream(name, nullptr, kReadElement, 0, stream.put());
    STATSTG facts{};
    if (SUCCEEDED(code)) code = stream->Stat(&facts, STATFLAG_NONAME);
    if (FAILED(code)) return code;
    std::string bytes(facts.cbSize.QuadPart, '\0');
    ULONG read = 0;
    code = stream->Read(bytes.data(), static_cast<ULONG>(bytes.size()), &read);
    if (SUCCEEDED(code) && read != bytes.size()) code = STG_E_READFAULT;
    to.bytes = std::make_shared<const std::string>(std::move(bytes));
    return code;
}

HRESULT ReadElement(IStorage& from, const STATSTG& element, StorageNode& to) {
    if (element.type == STGTY_STREAM) return ReadStream(from, element.pwcsName, to);
    vek::RefPtr<IStorage> storage;
    const HRESULT code =
        from.OpenStorage(element.pwcsName, nullptr, kReadElement, nullptr, 0, storage.put());
    return SUCCEEDED(code) ? ReadStorage(*storage, to) : code;
}

}  // namespace

std::basic_string<WCHAR> ToWide(std::u16string_view name) { return {name.begin(), name.end()}; }

std::u16string FromWide(const WCHAR* name) {
    if (name == nullptr) return {};
    const std::basic_string_view<WCHAR> text(name);
    return {text.begin(), text.end()};
}

HRESULT WriteStorage(const StorageNode& from, IStorage& to) {
    for (const auto& [name, node] : from.inside) {
        const auto wide = ToWide(name);
        HRESULT code = S_OK;
        if (node->bytes) {
            code = WriteStream(*node->bytes, wide.c_str(), to);
        } else {
            vek::RefPtr<IStorage> storage;
            code = to.CreateStorage(wide.c_str(), kWriteElement, 0, 0, storage.put());
            if (SUCCEEDED(code)) code = WriteStorage(*node, *storage);
        }
        if (FAILED(code)) return code;
    }
    return S_OK;
}

HRESULT ReadStorage(IStorage& from, StorageNode& to) {
    vek::RefPtr<IEnumSTATSTG> elements;
    HRESULT code = from.EnumElements(0, nullptr, 0, elements.put());
    while (SUCCEEDED(code)) {
        STATSTG element{};
        code = elements->Next(1, &element, nullptr);
        if (code != S_OK) break;
        const ElementName name(element.pwcsName);
        auto node = std::make_shared<StorageNode>();
        code = ReadElement(from, element, *node);
        to.inside.insert_or_assign(FromWide(element.pwcsName), std::move(node));
    }
    return FAILED(code) ? code : S_OK;
}

}  // namespace sandbox::outlook
