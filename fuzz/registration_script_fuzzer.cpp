// Registration scripts from anywhere: a script, which says the same when it is written again and
// whose writing can be undone, or an error at a place within it.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "com/registrar.h"
#include "com/registration_script.h"
#include "internal/helpers/hresult_exception.h"
#include "sandbox/registry/failing_registry.h"
#include "sandbox/registry/memory_registry.h"
#include "sandbox/registry/registry_text.h"

namespace {

using namespace plugins::com;

std::string Quoted(std::u16string_view text) {
    std::string quoted = "'";
    for (const char16_t unit : text) {
        quoted.push_back(static_cast<char>(unit));
        if (unit == u'\'' || unit == u'%') quoted.push_back(static_cast<char>(unit));
    }
    return quoted + "' ";
}

std::string Written(const ScriptData& data) {
    if (const auto* text = std::get_if<std::u16string>(&data)) return "= s " + Quoted(*text);
    if (const auto* number = std::get_if<std::uint32_t>(&data))
        return "= d " + std::to_string(*number) + ' ';
    std::string written = "= b '";
    for (const std::uint8_t byte : std::get<std::vector<std::uint8_t>>(data)) {
        written.push_back("0123456789ABCDEF"[byte >> 4]);
        written.push_back("0123456789abcdef"[byte & 15]);
    }
    return written + "' ";
}

std::string Written(const ScriptKey& key) {
    constexpr const char* kKinds[] = {"", "NoRemove ", "ForceRemove ", "Delete "};
    std::string written = kKinds[static_cast<std::size_t>(key.kind)] + Quoted(key.name);
    if (key.kind == KeyKind::kDelete) return written;
    written += "{ ";
    for (const ScriptValue& value : key.values)
        written += "val " + Quoted(value.name) + Written(value.data);
    for (const ScriptKey& inner : key.keys) written += Written(inner);
    return written + "} ";
}

std::string Written(const std::vector<RootContent>& roots) {
    constexpr const char* kRoots[] = {"HKCR ", "hklm ", "HKEY_CURRENT_USER "};
    std::string written;
    for (const auto& [root, content] : roots) {
        written += kRoots[static_cast<std::size_t>(root)];
        // What follows its kind and its name, which is empty.
        written += Written(content).substr(std::string_view("NoRemove '' ").size());
    }
    return written;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    constexpr Replacement kReplacements[] = {
        {"MODULE", u"C:\\o'brien\\100% {\\x.dll"}, {"OLEMISC", u"131473"}, {"APPID", u""}};

    const ParsedScript parsed = ParseRegistrationScript(text, kReplacements);
    if (const auto* error = std::get_if<ScriptError>(&parsed)) {
        const auto lines = static_cast<std::size_t>(std::ranges::count(text, '\n')) + 1;
        if (error->line == 0 || error->line > lines) std::abort();
        if (error->column == 0 || error->column > size + 1 || error->expected.empty()) std::abort();
        return 0;
    }
    const std::string written = Written(std::get<0>(parsed));
    if (ParseRegistrationScript(written, {}) != parsed) std::abort();

    if (size > 96) return 0;  // writing takes its time

    sandbox::MemoryRegistry registry;
    sandbox::FailingRegistry failing(registry, size);
    try {
        Registrar registrar(failing);
        registrar.Register({&text, 1}, kReplacements);
        registrar.Unregister({&text, 1}, kReplacements);
        registrar.Commit();
        return 0;
    } catch (const plugins::helpers::HResultCodeException&) {
    }
    using plugins::helpers::RegistryHandle;
    for (const auto root : {RegistryHandle::kClassesRoot, RegistryHandle::kLocalMachine,
                            RegistryHandle::kCurrentUser})
        if (!sandbox::ToText(registry, root).empty()) std::abort();
    if (registry.open_keys() != 0) std::abort();
    return 0;
}
