#include "com/registrar.h"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>

#include "internal/helpers/hresult_exception.h"
#include "sandbox/registry/failing_registry.h"
#include "sandbox/registry/memory_registry.h"
#include "sandbox/registry/registry_text.h"
#ifdef _WIN32
#include "tests/support/scratch_registry_win32.h"
#endif

namespace {

using namespace plugins::com;
using namespace plugins::helpers;
using sandbox::ToText;
using Scripts = std::vector<std::string_view>;
using Action = std::function<void(Registrar&)>;
constexpr auto kUser = RegistryHandle::kCurrentUser;

// An empty registry: the system's, where there is one.
#ifdef _WIN32
struct EmptyRegistry : tests::ScratchRegistry {
    std::string Classes() { return ToText(registry, kUser); }  // the roots are one key
    Registry& registry = vek::platform::TheRegistry();
};
#else
struct EmptyRegistry {
    std::string Classes() {
        return ToText(registry, RegistryHandle::kClassesRoot) +
               ToText(registry, RegistryHandle::kLocalMachine);
    }
    sandbox::MemoryRegistry registry;
};
#endif

constexpr Replacement kReplacements[] = {{"MODULE", u"C:\\O'Brien 100%\\\u043F.dll"},
                                         {"OLEMISC", u"131473"},
                                         {"APPID", u""},
                                         {"PRODUCTNAME", u"Q & Z"},
                                         {"SHARED", u"InterFace"}};
const std::string kModule = "C:\\O'Brien 100%\\\xD0\xBF.dll";

void Commit(Registry& registry, const Action& action) {
    Registrar registrar(registry);
    action(registrar);
    registrar.Commit();
}

Action Registering(const Scripts& scripts) {
    return [=](Registrar& registrar) { registrar.Register(scripts, kReplacements); };
}

Action Unregistering(const Scripts& scripts) {
    return [=](Registrar& registrar) { registrar.Unregister(scripts, kReplacements); };
}

TEST(RegistrationScript, SaysWhatIsWrittenOrWhereItIsWrong) {
    std::string deep = "HKCU { ";
    for (int i = 0; i < 100000; ++i) deep += "a { ";
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"hkey_current_user\r\n{\r\n}\t", ""},
        {"HKCU { A = s x { val N = d 3 val 'O''B' = s %module% B } C } HKCU { C = s %%%% }",
         "A{=x N=#3 O'B=" + kModule + " B{} } C{=%% } "},
        {"HKCU { 'val' { val '' = D &HfF val x = d 4294967295 val y = d '0X10' } }",
         "val{=#255 x=#4294967295 y=#16 } "},
        {"HKCU { {a} = b '00fF' { val e = B '' } }", "{a}{=$0.255. e=$ } "},
        {"HKCU { A { B } 'C'{ D = s '' } Delete A ForceRemove C { 'it' } NORemove D }",
         "C{it{} } D{} "},
        {"HKCR { } HKEY_LOCAL_MACHINE { } HKEY_CLASSES_ROOT { } HKLM { } x", "1:64"},
        {"HKCU\n{\n  A = e 'x'", "3:7"},
        {"'HKCU' {", "1:1"},
        {"HKCU {{", "1:6"},
        {"HKCU { A {", "1:11"},
        {"HKCU { val A { B }", "1:14"},
        {"HKCU { ForceRemove val A", "1:20"},
        {"HKCU { Delete A { B }", "1:17"},
        {"HKCU { A = s }", "1:14"},
        {"HKCU { A = s", "1:13"},
        {"HKCU { A = s 'x\n' }", "1:16"},
        {"HKCU { A = s x'y' }", "1:15"},
        {"HKCU { A = d 4294967296 }", "1:14"},
        {"HKCU { A = d 0x }", "1:14"},
        {"HKCU { A = d 1h }", "1:14"},
        {"HKCU { A = b 123 }", "1:14"},
        {"HKCU { A = b 1g }", "1:14"},
        {"HKCU { A = s 'it''s %' }", "1:21"},
        {"HKCU { A = s '%a b%' }", "1:15"},
        {"HKCU { '' }", "1:8"},
        {"HKCU { %MODULE% }", "1:8"},
        {"HKCU { ForceRemove software }", "1:20"},
        {"HKCR { A { Delete 'CLSID' } }", "1:19"},
        {"HKCR { ForceRemove %SHARED% }", "1:20"},
        {"HKCU { A = s '%NUL%' }", "1:14"},
        {"\xEF\xBB\xBFHKCU {}", "1:1"},
        {"HKCU { 'a\xC3\xBC' }", "1:10"},
        {deep, "1:" + std::to_string(8 + 4 * 32)},
        {"HKCU { " + std::string(256, 'k'), "1:8"},
    };
    std::vector<Replacement> replacements(std::begin(kReplacements), std::end(kReplacements));
    replacements.push_back({"NUL", {u"a\0b", 3}});
    for (const auto& [script, expected] : cases) {
        const ParsedScript parsed = ParseRegistrationScript(script, replacements);
        const auto* error = std::get_if<ScriptError>(&parsed);
        EmptyRegistry empty;
        if (error == nullptr) Commit(empty.registry, Registering({script}));
        const std::string said =
            error != nullptr ? error->ToText() : ToText(empty.registry, kUser) + ": ";
        EXPECT_EQ(said.substr(0, said.find(": ")), expected) << script.substr(0, 100);
    }
}

// Runs `action` with each of its calls failing in turn, then with none.
void AtEveryStep(Registry& registry, const Action& action) {
    const std::string before = ToText(registry, kUser);
    for (std::size_t step = 0;; ++step) {
        sandbox::FailingRegistry failing(registry, step);
        try {
            return Commit(failing, action);
        } catch (const HResultCodeException& failure) {
            EXPECT_EQ(failure.code(), 0x80070005u);
        }
        ASSERT_EQ(ToText(registry, kUser), before) << step;
    }
}

TEST(Registrar, ChangesAllOrNothing) {
    EmptyRegistry empty;
    Registry& registry = empty.registry;
    const auto put = [&](const char16_t* path, const char16_t* name, std::uint32_t type,
                         std::string_view data) {
        const RegistryKey key = RegistryKey::Create({kUser, path}, registry);
        registry.SetValue(key.handle(), name, vek::platform::RegistryType{type},
                          std::as_bytes(std::span(data)));
    };
    put(u"Shared", u"", 2, {"x\0\0\0", 4});
    put(u"Shared", u"Ours", 11, "12345678");
    put(u"Shared", u"Foreign", 0, "");
    put(u"Shared\\Plain\\Foreign", u"", 3, "f");
    put(u"Shared\\Other", u"Foreign", 3, "o");
    put(u"Shared\\Whole\\Extra\\More", u"A", 7, "odd");
    put(u"Shared\\Whole\\Deep", u"NAME", 4, "1234");
    put(u"Shared\\Old\\Older", u"", 3, "o");
    const Scripts scripts = {
        "HKCU { NoRemove Shared = s ours { val Ours = d 7 val New = b 00 Plain = s p { Inner } "
        "ForceRemove Whole { val Name = s %APPID% Deep { Deeper } } Delete Old } }",
        "HKCU { Shared { Other { Empty } } NoRemove Last { val Only = s 'x' } }"};
    const std::pair<Action, std::string> actions[] = {
        {Registering(scripts),
         "Last{Only=x } Shared{=ours Foreign=?0: New=$0. Ours=#7 Other{Foreign=$111. Empty{} } "
         "Plain{=p Foreign{=$102. } Inner{} } Whole{Name= Deep{Deeper{} } } } "},
        {Unregistering(scripts),
         "Last{} Shared{=ours Foreign=?0: Other{Foreign=$111. } Plain{Foreign{=$102. } } } "}};
    for (const auto& [action, after] : actions)
        for (int twice = 0; twice < 2; ++twice) {
            AtEveryStep(registry, action);
            EXPECT_EQ(ToText(registry, kUser), after);
        }

    // What others change is undone, too.
    const std::string before = ToText(registry, kUser);
    {
        Registrar registrar(registry);
        registrar.Keep({kUser, u"Shared"});
        registrar.Keep({kUser, u"Library"});
        put(u"Library\\1.0", u"", 1, "x");
        put(u"Shared\\Plain\\Foreign", u"", 3, "g");
        put(u"Shared\\Plain\\Mine", u"", 3, "g");
        put(u"Shared\\Plain", u"Mine", 3, "g");
        RegistryKey::Open({kUser, u"Shared"}, registry_access::kWrite, registry)
            .DeleteValue(u"Foreign");
        try {
            registrar.Register(Scripts{scripts[1], "HKCU {"}, kReplacements);
            FAIL();
        } catch (const HResultCodeException& failure) {
            EXPECT_EQ(failure.code(), 0x80020009u);
            EXPECT_EQ(failure.message().view().find(u"Registration script 2:1:7: "), 0u);
        }
        EXPECT_EQ(ToText(registry, kUser).find("Empty"), std::string::npos);
    }
    EXPECT_EQ(ToText(registry, kUser), before);
}

std::string Read(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(Registrar, RegistersTheClassesTwiceAndRemovesThemTwice) {
    std::vector<std::string> files;
    for (const char* name :
         {"addin", "page_antivirus", "page_unable_to_connect", "exch_client_ext"})
        files.push_back(Read(MLXO_REGISTRATION + std::string(name) + ".rgs"));
    const Scripts scripts(files.begin(), files.end());
    std::ifstream lines(MLXO_REGISTERED_CLASSES);
    std::string registered;
    for (std::string line; std::getline(lines >> std::ws, line);)
        registered += line.ends_with('{') ? line : line + ' ';

    EmptyRegistry empty;
    for (int twice = 0; twice < 2; ++twice) {
        Commit(empty.registry, Registering(scripts));
        EXPECT_EQ(empty.Classes(), registered);
    }
    for (int twice = 0; twice < 2; ++twice) {
        Commit(empty.registry, Unregistering(scripts));
        EXPECT_EQ(empty.Classes(), "CLSID{} Software{Microsoft{} } ");
    }
}

}  // namespace
