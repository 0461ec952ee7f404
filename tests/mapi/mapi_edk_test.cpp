#include "mapi/mapi_edk.h"

#include <gmock/gmock.h>

#include <cstring>
#include <map>
#include <optional>

#include "internal/helpers/registry_impl.h"
#include "sandbox/outlook/mapi_subsystem.h"
#include "sandbox/registry/memory_registry.h"
#include "tests/support/recording_tracer.h"
#include "vek/core/exception.h"
#include "vek/core/text.h"

namespace {

using namespace plugins::mapi;
using namespace vek::platform;
using Texts = std::vector<std::string>;
using SystemError = system_error_t;
using Symbol = Library::Symbol;
using View = std::string_view;

constexpr std::u16string_view kClientsKey = u"SOFTWARE\\Clients\\Mail";
constexpr std::u16string_view kOutlookKey = u"Software\\Clients\\Mail\\Microsoft Outlook";

plugins::helpers::RegistryKeyPath InMachine(std::u16string_view key) {
    return {RegistryHandle::kLocalMachine, std::u16string(key)};
}

// A system with Outlook. MAPI's functions have no context: they serve `current`.
struct Office final : sandbox::MemoryRegistry, LibraryLoader {
    Office() {
        current = this;
        functions.initialize = &Initialize;
        functions.ole = SystemOleFunctions();
        // In the table's order; the ordinals lead to the same functions.
        const std::pair<const char*, const char*> names[] = {
            {"MAPIInitialize", ""},  {"MAPIUninitialize", ""},          {"MAPILogonEx", ""},
            {"HrGetOneProp", "135"}, {"HrQueryAllRows", "75"},          {"MAPIFreeBuffer", ""},
            {"FreeProws", "140"},    {"WrapCompressedRTFStream", "185"}};
        const auto* table = reinterpret_cast<const char*>(&functions);
        for (const auto& [name, ordinal] : names) {
            std::memcpy(&symbols[name], table, sizeof(Symbol));
            symbols[ordinal] = symbols[name];
            table += sizeof(Symbol);
        }
        Set(kOutlookKey, u"MSIComponentID", u"{mapi}");
        Set(kOutlookKey, u"MSIApplicationLCID", u"1031");
        Set(kOutlookKey, u"MSIOfficeLCID", u"1033");
    }
    std::optional<std::u16string> client() { return Text(kClientsKey, u""); }

    struct Loaded final : Library {
        Loaded() { ++current->live; }
        ~Loaded() override { --current->live; }
        Symbol Find(const char* name) const noexcept override {
            vek::platform::SetLastError(system_error::kProcedureNotFound);
            return current->symbols.contains(name) ? current->symbols[name] : nullptr;
        }
        Symbol FindOrdinal(std::uint16_t ordinal) const noexcept override {
            return Find(std::to_string(ordinal).c_str());
        }
    };
    std::unique_ptr<Library> Load(View name) override {
        vek::platform::SetLastError(system_error::kModuleNotFound);
        return symbols.contains(std::string(name)) ? std::make_unique<Loaded>() : nullptr;
    }

    // What `call` raises.
    template <class Call>
    std::string Error(Call&& call) {
        try {
            call(MapiEnvironment{*this, *this, std::make_shared<tests::RecordingTracer>()});
            return {};
        } catch (const vek::Exception& error) {
            return vek::ToUtf8(error.Description().view());
        }
    }

    static BOOL WINAPI GetPath(char* component, char* locale, char* path, DWORD size,
                               BOOL install) {
        if (component != std::string("{mapi}") || locale != current->locale || !install) return 0;
        std::strncpy(path, current->path.c_str(), size);
        return size == 0x104;
    }
    static HRESULT WINAPI Initialize(void* init) {
        current->flags.push_back(static_cast<const MAPIINIT_0*>(init)->ulFlags);
        current->client_meanwhile = current->client().value_or(u"");
        return static_cast<HRESULT>(current->answers.at(current->flags.size() - 1));
    }

    static inline Office* current;
    MapiFunctions functions = sandbox::outlook::MapiSubsystem::Functions();
    // What there is: libraries, and what they export by name and by ordinal.
    std::map<std::string, Symbol> symbols{
        {"mapistub.dll", {}},
        {"mapi32.dll", {}},
        {"\\\\?\\C:\\Office\\mapi.dll", {}},
        {"C:\\Office/mapi.dll", {}},
        {"\\\\server\\mapi.dll", {}},
        {"FGetComponentPath", reinterpret_cast<Symbol>(&GetPath)}};
    std::string locale, path;
    std::u16string client_meanwhile;
    std::vector<std::uint32_t> answers;
    std::vector<ULONG> flags;
    int live = 0;
};

TEST(MapiEdk, LoadsTheLibraryOfTheInstalledOutlook) {
    const std::string no_library = "HRESULT=0x8007007e", no_symbol = "Symbol not found";
    const struct {
        Texts removed;
        std::string error;  // none when it is loaded
        std::string locale = "1031", path = "C:\\Office\\mapi.dll";
    } kCases[] = {{{}, ""},
                  {{}, "", "1033"},
                  {{}, "Not found", "1049"},
                  {{}, no_library, "1031", "C:\\gone.dll"},
                  {{}, "", "1031", "C:\\Office/mapi.dll"},  // the prefix would spoil it
                  {{}, "", "1031", "\\\\server\\mapi.dll"},
                  {{"MSIApplicationLCID"}, "", "1033"},
                  {{"MSIComponentID"}, "HRESULT=0x80070002"},
                  {{"mapistub.dll"}, ""},
                  {{"mapistub.dll", "mapi32.dll"}, no_library},
                  {{"FGetComponentPath"}, "HRESULT=0x8007007f"},
                  {{"MAPILogonEx"}, no_symbol},
                  {{"FreeProws", "140"}, no_symbol},
                  {{"HrGetOneProp", "HrQueryAllRows", "FreeProws", "WrapCompressedRTFStream"}, ""}};
    for (const auto& row : kCases) {
        SCOPED_TRACE(&row - kCases);
        Office office;
        for (const std::string& name : row.removed)
            if (office.symbols.erase(name) == 0) {
                EXPECT_EQ(plugins::helpers::RemoveValue(InMachine(kOutlookKey), vek::ToUtf16(name),
                                                        office),
                          0u);
            }
        office.locale = row.locale;
        office.path = row.path;
        std::shared_ptr<const MapiFunctions> table;
        EXPECT_EQ(office.Error([&](auto with) { table = LoadMapi(with); }), row.error);
        const bool loaded = row.error.empty();
        EXPECT_EQ(table && *table == office.functions, loaded);
        EXPECT_EQ(office.live, loaded ? 1 : 0);
        table.reset();
        EXPECT_EQ(office.live, 0);
    }
}

TEST(MapiEdk, InitializesMapiWithOutlookAsTheDefaultClient) {
    const std::optional<std::u16string> none, outlook{u"Microsoft Outlook"}, other{u"Other"};
    constexpr std::uint32_t kFailed = 0x80040111, kChangedMode = 0x80010106;
    const struct {
        std::optional<std::u16string> client;
        SystemError read_error, write_error;
        std::vector<std::uint32_t> answers;
    } kCases[] = {
        {outlook, 0, 0, {0}},
        {other, 0, 0, {0}},
        {none, 0, 0, {0}},
        {other, 0, 0, {kFailed}},
        {other, 0, 0, {kChangedMode, 0}},
        {none, 0, 0, {kChangedMode, kFailed}},
        {other, 0, 5, {0}},  // MAPI is tried all the same
        {other, 5, 0, {0}},
    };
    for (const auto& row : kCases) {
        SCOPED_TRACE(&row - kCases);
        Office office;
        office.Set(kClientsKey, u"", row.client.value_or(u""));
        if (!row.client) plugins::helpers::RemoveValue(InMachine(kClientsKey), u"", office);
        office.Refuse(Office::Call::kQueryValue, row.read_error);
        office.Refuse(Office::Call::kSetValue, row.write_error);
        office.answers = row.answers;
        EXPECT_EQ(office.Error([&](auto with) { InitializeMapi(office.functions, with); }),
                  row.answers.back() == kFailed ? "HRESULT=0x80040111" : "");
        EXPECT_EQ(office.client(), row.client);
        const bool refused = row.read_error + row.write_error != 0;
        EXPECT_EQ(office.client_meanwhile, refused ? u"Other" : u"Microsoft Outlook");
        const std::vector<ULONG> flags{0, 8};
        EXPECT_THAT(office.flags, testing::ElementsAreArray(flags.data(), row.answers.size()));
    }
}

}  // namespace
