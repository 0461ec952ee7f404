// Prints what a package writes into the registry for the library, as JSON: what the library's
// registration scripts and its type library say, with an installer's property where its path is.
//
//   mlxo_registry_rows MODULE FOLDER PRODUCT
//
// MODULE stands for the path, FOLDER for the folder's, PRODUCT is the name that people know the
// product by. A row has `root`, `key`, `view` (64 or 32) and, where it is a value's, `name` (empty:
// the key's own) and `data`, a text or a number; without them it is an empty key.

#include <windows.h>

#include <array>
#include <iostream>
#include <nlohmann/json.hpp>
#include <span>
#include <stdexcept>
#include <string>

#include "com/module_path_win32.h"
#include "com/registration_script.h"
#include "module/registration.h"
#include "vek/core/current_exception.h"
#include "vek/core/ref_ptr.h"
#include "vek/core/text.h"

// The order matters: it needs windows.h.
#include <oleauto.h>

namespace {

using nlohmann::ordered_json;
using plugins::com::RootContent;
using plugins::com::ScriptKey;
using plugins::com::ScriptRoot;
using plugins::helpers::CheckHResult;

// The system's classes that carry calls of automation's interfaces across threads.
constexpr char kCallsByTypes[] = "{00020424-0000-0000-C000-000000000046}";
constexpr char kCallsByName[] = "{00020420-0000-0000-C000-000000000046}";

class Rows {
public:
    void AddKey(const std::string& root, const std::string& key, int view = 64) {
        rows_.push_back({{"root", root}, {"key", key}, {"view", view}});
    }
    void AddValue(const std::string& root, const std::string& key, const std::string& name,
                  const ordered_json& data, int view = 64) {
        AddKey(root, key, view);
        rows_.back()["name"] = name;
        rows_.back()["data"] = data;
    }
    const ordered_json& rows() const { return rows_; }

private:
    ordered_json rows_ = ordered_json::array();
};

const char* NameOf(ScriptRoot root) {
    switch (root) {
        case ScriptRoot::kClassesRoot:
            return "HKCR";
        case ScriptRoot::kLocalMachine:
            return "HKLM";
        default:
            throw std::runtime_error("an installation for all has no rows for one user");
    }
}

ordered_json DataOf(const plugins::com::ScriptData& data) {
    if (const auto* text = std::get_if<std::u16string>(&data)) return vek::ToUtf8(*text);
    if (const auto* number = std::get_if<std::uint32_t>(&data)) return *number;
    throw std::runtime_error("a package has no rows for bytes");
}

void AddContent(Rows& rows, const std::string& root, const std::string& path,
                const ScriptKey& key) {
    using plugins::com::KeyKind;
    for (const auto& [name, data] : key.values)
        rows.AddValue(root, path, vek::ToUtf8(name), DataOf(data));
    // A key that others have, too, is there without a row.
    if (key.values.empty() && key.keys.empty() && key.kind != KeyKind::kNoRemove)
        rows.AddKey(root, path);
    for (const ScriptKey& inner : key.keys) {
        if (inner.kind == KeyKind::kDelete)
            throw std::runtime_error("a package has no rows for what registration removes");
        const std::string name = vek::ToUtf8(inner.name);
        AddContent(rows, root, path.empty() ? name : path + '\\' + name, inner);
    }
}

void AddScripts(Rows& rows, const std::u16string& module, const std::u16string& product) {
    const auto replacements = plugins::dll::ScriptReplacements(module, product);
    for (const std::string_view script : plugins::dll::RegistrationScripts()) {
        const auto parsed = plugins::com::ParseRegistrationScript(script, replacements);
        if (const auto* error = std::get_if<plugins::com::ScriptError>(&parsed))
            throw std::runtime_error(error->ToText());
        for (const RootContent& each : std::get<0>(parsed))
            AddContent(rows, NameOf(each.root), "", each.content);
    }
}

std::string BracedText(const GUID& id) {
    std::array<wchar_t, 40> text{};
    ::StringFromGUID2(id, text.data(), static_cast<int>(text.size()));
    return vek::ToUtf8(std::u16string(text.begin(), text.begin() + 38));
}

std::string Utf8(BSTR text) {
    return text == nullptr ? std::string()
                           : vek::ToUtf8(std::u16string(text, text + ::SysStringLen(text)));
}

// What the system registers of an interface: both views, since who calls may be of either width.
void AddInterface(Rows& rows, ITypeInfo& type, const TYPEATTR& attributes,
                  const std::string& library, const std::string& version) {
    const bool by_types =
        attributes.typekind == TKIND_INTERFACE || (attributes.wTypeFlags & TYPEFLAG_FDUAL) != 0;
    if (attributes.typekind != TKIND_DISPATCH &&
        (attributes.typekind != TKIND_INTERFACE ||
         (attributes.wTypeFlags & TYPEFLAG_FOLEAUTOMATION) == 0))
        return;
    BSTR name = nullptr;
    CheckHResult(type.GetDocumentation(MEMBERID_NIL, &name, nullptr, nullptr, nullptr));
    const std::string text = Utf8(name);
    ::SysFreeString(name);
    const std::string key = "Interface\\" + BracedText(attributes.guid);
    for (const int view : {64, 32}) {
        rows.AddValue("HKCR", key, "", text, view);
        for (const char* const calls : {"\\ProxyStubClsid", "\\ProxyStubClsid32"})
            rows.AddValue("HKCR", key + calls, "", by_types ? kCallsByTypes : kCallsByName, view);
        rows.AddValue("HKCR", key + "\\TypeLib", "", library, view);
        rows.AddValue("HKCR", key + "\\TypeLib", "Version", version, view);
    }
}

void AddTypeLibrary(Rows& rows, const std::string& module, const std::string& folder) {
    const std::wstring self = plugins::com::ModulePath(plugins::com::ThisModule());
    vek::RefPtr<ITypeLib> library;
    CheckHResult(::LoadTypeLibEx(self.c_str(), REGKIND_NONE, library.put()));
    TLIBATTR* attributes = nullptr;
    CheckHResult(library->GetLibAttr(&attributes));
    const std::string id = BracedText(attributes->guid);
    const std::string version =
        std::to_string(attributes->wMajorVerNum) + '.' + std::to_string(attributes->wMinorVerNum);
    const unsigned flags = attributes->wLibFlags;
    library->ReleaseTLibAttr(attributes);
    BSTR title = nullptr;
    CheckHResult(library->GetDocumentation(-1, nullptr, &title, nullptr, nullptr));
    const std::string key = "TypeLib\\" + id + '\\' + version;
    rows.AddValue("HKCR", key, "", Utf8(title));
    ::SysFreeString(title);
    rows.AddValue("HKCR", key + "\\0\\win64", "", module);
    rows.AddValue("HKCR", key + "\\FLAGS", "", std::to_string(flags));
    rows.AddValue("HKCR", key + "\\HELPDIR", "", folder);
    for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
        vek::RefPtr<ITypeInfo> type;
        CheckHResult(library->GetTypeInfo(i, type.put()));
        TYPEATTR* of_type = nullptr;
        CheckHResult(type->GetTypeAttr(&of_type));
        AddInterface(rows, *type, *of_type, id, version);
        type->ReleaseTypeAttr(of_type);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::cerr << "usage: mlxo_registry_rows MODULE FOLDER PRODUCT\n";
        return 2;
    }
    try {
        Rows rows;
        AddScripts(rows, vek::ToUtf16(argv[1]), vek::ToUtf16(argv[3]));
        AddTypeLibrary(rows, argv[1], argv[2]);
        std::cout << rows.rows().dump(1) << '\n';
        return 0;
    } catch (...) {
        std::cerr << vek::CurrentExceptionText() << '\n';
        return 1;
    }
}
