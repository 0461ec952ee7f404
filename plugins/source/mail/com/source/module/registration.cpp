#include "module/registration.h"

#include <string>

#include "com/border.h"
#include "com/module_path_win32.h"
#include "com/registrar.h"
#include "common/product_info/product_library.h"
#include "internal/helpers/hresult_exception.h"
#include "mlxo_version.h"
#include "module/resource_ids.h"
#include "vek/core/text.h"

#include "outlook_addin.h"

namespace plugins::dll {
namespace {

using helpers::RegistryBitness;
using helpers::RegistryHandle;

constexpr WORD kLibraryMajor = 2;
constexpr WORD kLibraryMinor = 0;

std::string_view ScriptAt(WORD id) {
    const HRSRC found = ::FindResourceW(com::ThisModule(), MAKEINTRESOURCEW(id), L"REGISTRY");
    if (found == nullptr) helpers::ThrowLastError();
    const HGLOBAL loaded = ::LoadResource(com::ThisModule(), found);
    if (loaded == nullptr) helpers::ThrowLastError();
    return {static_cast<const char*>(::LockResource(loaded)),
            ::SizeofResource(com::ThisModule(), found)};
}

std::u16string BracedText(const GUID& id) {
    std::array<wchar_t, 40> text{};
    ::StringFromGUID2(id, text.data(), static_cast<int>(text.size()));
    return {text.begin(), text.begin() + 38};
}

// Calls `act` with the scripts and what stands in them for the module and the product.
template <class Act>
void WithScripts(const Act& act) {
    const std::wstring wide = com::ModulePath(com::ThisModule());
    const std::u16string path(wide.begin(), wide.end());
    std::u16string product = product_info::ProductName();
    if (product.empty()) product = vek::ToUtf16(MLXO_PRODUCT_NAME);
    act(RegistrationScripts(), ScriptReplacements(path, product));
}

vek::RefPtr<ITypeLib> TypeLibrary() {
    vek::RefPtr<ITypeLib> library;
    helpers::CheckGiven(
        ::LoadTypeLibEx(com::ModulePath(com::ThisModule()).c_str(), REGKIND_NONE, library.put()),
        library);
    return library;
}

void KeepInBothViews(com::Registrar& registrar, const std::u16string& key) {
    for (const auto view : {RegistryBitness::k64, RegistryBitness::k32})
        registrar.Keep({RegistryHandle::kClassesRoot, key, view});
}

// What the system writes and takes out for the library.
void KeepLibrary(com::Registrar& registrar, ITypeLib& library) {
    KeepInBothViews(registrar, u"TypeLib\\" + BracedText(LIBID_OUTLOOKADDINLib));
    for (UINT i = 0; i < library.GetTypeInfoCount(); ++i) {
        vek::RefPtr<ITypeInfo> type;
        helpers::CheckGiven(library.GetTypeInfo(i, type.put()), type);
        TYPEATTR* attributes = nullptr;
        helpers::CheckHResult(type->GetTypeAttr(&attributes));
        const GUID id = attributes->guid;
        const TYPEKIND kind = attributes->typekind;
        type->ReleaseTypeAttr(attributes);
        if (kind == TKIND_INTERFACE || kind == TKIND_DISPATCH)
            KeepInBothViews(registrar, u"Interface\\" + BracedText(id));
    }
}

// As that of a 64-bit module.
bool IsLibraryRegistered() {
    std::u16string path;
    const auto error =
        helpers::ReadString({RegistryHandle::kClassesRoot,
                             u"TypeLib\\" + BracedText(LIBID_OUTLOOKADDINLib) + u"\\2.0\\0\\win64",
                             RegistryBitness::k64},
                            u"", path, vek::platform::TheRegistry());
    if (error == vek::platform::system_error::kFileNotFound) return false;
    helpers::CheckHResult(helpers::HResultFromWin32(error));
    return true;
}

}  // namespace

std::array<std::string_view, 4> RegistrationScripts() {
    return {ScriptAt(IDR_ADDIN), ScriptAt(IDR_PAGE_ANTIVIRUS), ScriptAt(IDR_PAGE_UNABLE_TO_CONNECT),
            ScriptAt(IDR_EXCH_CLIENT_EXT)};
}

std::array<com::Replacement, 4> ScriptReplacements(std::u16string_view path,
                                                   std::u16string_view product) noexcept {
    return {{{"MODULE", path}, {"OLEMISC", u"131473"}, {"APPID", u""}, {"PRODUCTNAME", product}}};
}

HRESULT RegisterModule() noexcept {
    return com::AtBorder([] {
        com::Registrar registrar;
        WithScripts([&](const auto& scripts, const auto& replacements) {
            registrar.Register(scripts, replacements);
        });
        const auto library = TypeLibrary();
        KeepLibrary(registrar, *library);
        std::wstring path = com::ModulePath(com::ThisModule());
        helpers::CheckHResult(::RegisterTypeLib(library.get(), path.data(), nullptr));
        registrar.Commit();
    });
}

HRESULT UnregisterModule() noexcept {
    return com::AtBorder([] {
        com::Registrar registrar;
        WithScripts([&](const auto& scripts, const auto& replacements) {
            registrar.Unregister(scripts, replacements);
        });
        if (IsLibraryRegistered()) {
            KeepLibrary(registrar, *TypeLibrary());
            helpers::CheckHResult(::UnRegisterTypeLib(LIBID_OUTLOOKADDINLib, kLibraryMajor,
                                                      kLibraryMinor, LOCALE_NEUTRAL, SYS_WIN64));
        }
        registrar.Commit();
    });
}

}  // namespace plugins::dll
