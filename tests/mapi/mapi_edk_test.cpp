#include "mapi/mapi_edk.h"

#include <gmock/gmock.h>

#include <cstring>
#include <map>

#include "sandbox/outlook/mapi_subsystem.h"
#include "tests/support/recording_tracer.h"
#include "vek/core/exception.h"
#include "vek/core/text.h"

namespace {

using namespace plugins::mapi;
using namespace vek::platform;
using Texts = std::vector<std::string>;
using Values = std::map<std::string, std::string>;
using Error = system_error_t;
using Symbol = Library::Symbol;
using View = std::string_view;

const std::string kClientsKey = "SOFTWARE\\Clients\\Mail";
const std::string kOutlookKey = "Software\\Clients\\Mail\\Microsoft Outlook";

// A system with Outlook. MAPI's functions have no context: they serve `current`.
struct Office final : Registry, LibraryLoader {
    Office() {
        current = this;
        functions.initialize = &Initialize;
        functions.ole = SystemOleFunctions();
        // In the table's order; the ordinals lead to the same functions.
        const char* const names[] = {"MAPIInitialize", "MAPIUninitialize",       "MAPILogonEx",
                                     "HrGetOneProp",   "HrQueryAllRows",         "MAPIFreeBuffer",
                                     "FreeProws",      "WrapCompressedRTFStream"};
        const auto* table = reinterpret_cast<const char*>(&functions);
        for (const char* name : names) {
            std::memcpy(&symbols[name], table, sizeof(Symbol));
            table += sizeof(Symbol);
        }
        symbols["75"] = symbols["HrQueryAllRows"];
        symbols["135"] = symbols["HrGetOneProp"];
        symbols["140"] = symbols["FreeProws"];
        symbols["185"] = symbols["WrapCompressedRTFStream"];
    }

    Error ReadText(RegistryRoot, View key, View name, std::string& value) override {
        const auto found = values.find(std::string(key) += name);
        if (found == values.end()) return system_error::kFileNotFound;
        if (read_error == 0) value = found->second;
        return read_error;
    }
    Error WriteText(RegistryRoot, View key, View name, View value) override {
        if (write_error == 0) values[std::string(key) += name] = value;
        return write_error;
    }
    Error DeleteValue(RegistryRoot, View key, View name) override {
        return values.erase(std::string(key) += name) == 1 ? 0 : system_error::kFileNotFound;
    }

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

    // What `call` traces, and at last what it raises.
    template <class Call>
    Texts Outcome(Call&& call) {
        const auto tracer = std::make_shared<tests::RecordingTracer>();
        try {
            call(MapiEnvironment{*this, *this, tracer});
        } catch (const vek::Exception& error) {
            tracer->Write(0, vek::ToUtf8(error.Description().view()));
        }
        return tracer->lines();
    }

    static BOOL WINAPI GetPath(char* component, char* locale, char* path, DWORD size,
                               BOOL install) {
        if (component != std::string("{mapi}") || locale != current->locale || !install) return 0;
        std::strncpy(path, current->path.c_str(), size);
        return size == 0x104;
    }
    static HRESULT WINAPI Initialize(void* init) {
        current->flags.push_back(static_cast<const MAPIINIT_0*>(init)->ulFlags);
        current->client_meanwhile = current->values[kClientsKey];
        return static_cast<HRESULT>(current->answers.at(current->flags.size() - 1));
    }

    static inline Office* current;
    MapiFunctions functions = sandbox::outlook::MapiSubsystem::Functions();
    // What there is: libraries, and what they export by name and by ordinal.
    std::map<std::string, Symbol> symbols{
        {"mapistub.dll", nullptr},
        {"mapi32.dll", nullptr},
        {"\\\\?\\C:\\Office\\mapi.dll", nullptr},
        {"C:\\Office/mapi.dll", nullptr},
        {"\\\\server\\mapi.dll", nullptr},
        {"FGetComponentPath", reinterpret_cast<Symbol>(&GetPath)}};
    Values values{{kOutlookKey + "MSIComponentID", "{mapi}"},
                  {kOutlookKey + "MSIApplicationLCID", "1031"},
                  {kOutlookKey + "MSIOfficeLCID", "1033"}};
    Error read_error = 0, write_error = 0;
    std::string locale, path, client_meanwhile;
    std::vector<std::uint32_t> answers;
    std::vector<ULONG> flags;
    int live = 0;
};

TEST(MapiEdk, LoadsTheLibraryOfTheInstalledOutlook) {
    const std::string first = "700 Get path succeeded for msiComponentId and msiApplicationLcid";
    const std::string second = "700 Get path succeeded for msiComponentId and msiOfficeLCID";
    const std::string no_stub = "700 Can't load mapistub. Try mapi32";
    const std::string no_path = "0 Not found", no_symbol = "0 Symbol not found";
    const std::string no_library = "0 HRESULT=0x8007007e";
    const auto ordinal = [](const char* name) {
        return std::string("700 Try get ") + name + " by ordinal";
    };
    const struct {
        Texts removed, outcome;
        std::string locale = "1031", path = "C:\\Office\\mapi.dll";
    } kCases[] = {{{}, {first}},
                  {{}, {second}, "1033"},
                  {{}, {no_path}, "1049"},
                  {{}, {first, no_library}, "1031", "C:\\gone.dll"},
                  {{}, {first}, "1031", "C:\\Office/mapi.dll"},  // the prefix would spoil it
                  {{}, {first}, "1031", "\\\\server\\mapi.dll"},
                  {{"MSIApplicationLCID"}, {second}, "1033"},
                  {{"MSIComponentID"}, {"0 HRESULT=0x80070002"}},
                  {{"mapistub.dll"}, {no_stub, first}},
                  {{"mapistub.dll", "mapi32.dll"}, {no_stub, no_library}},
                  {{"FGetComponentPath"}, {"0 HRESULT=0x8007007f"}},
                  {{"MAPILogonEx"}, {first, no_symbol}},
                  {{"FreeProws", "140"}, {first, ordinal("FreeProws"), no_symbol}},
                  {{"HrGetOneProp", "HrQueryAllRows", "FreeProws", "WrapCompressedRTFStream"},
                   {first, ordinal("HrGetOneProp"), ordinal("HrQueryAllRows"), ordinal("FreeProws"),
                    ordinal("WrapCompressedRTFStream")}}};
    for (const auto& row : kCases) {
        SCOPED_TRACE(&row - kCases);
        Office office;
        for (const std::string& name : row.removed)
            EXPECT_EQ(office.symbols.erase(name) + office.values.erase(kOutlookKey + name), 1u);
        office.locale = row.locale;
        office.path = row.path;
        std::shared_ptr<const MapiFunctions> table;
        EXPECT_EQ(office.Outcome([&](auto with) { table = LoadMapi(with); }), row.outcome);
        const bool loaded = row.outcome.back()[0] == '7';
        EXPECT_EQ(table && std::memcmp(table.get(), &office.functions, sizeof *table) == 0, loaded);
        EXPECT_EQ(office.live, loaded ? 1 : 0);
        table.reset();
        EXPECT_EQ(office.live, 0);
    }
}

TEST(MapiEdk, InitializesMapiWithOutlookAsTheDefaultClient) {
    const std::string is_default = "700 Default client is outlook", set = "700 Set default client";
    const std::string again =
        "700 MAPIInitialize return RPC_E_CHANGED_MODE. Try another init options";
    const std::string failed = "0 HRESULT=0x80040111";
    const Values none, outlook{{kClientsKey, "Microsoft Outlook"}}, other{{kClientsKey, "Other"}};
    constexpr std::uint32_t kFailed = 0x80040111, kChangedMode = 0x80010106;
    const struct {
        Values values;
        Error read_error, write_error;
        std::vector<std::uint32_t> answers;
        Texts outcome;
    } kCases[] = {
        {outlook, 0, 0, {0}, {is_default}},
        {other, 0, 0, {0}, {set}},
        {none, 0, 0, {0}, {set}},
        {other, 0, 0, {kFailed}, {set, failed}},
        {other, 0, 0, {kChangedMode, 0}, {set, again}},
        {none, 0, 0, {kChangedMode, kFailed}, {set, again, failed}},
        {other,
         0,
         5,
         {0},
         {set, "500 Cannot write default client. Error: 5"}},  // MAPI is tried all the same
        {other, 5, 0, {0}, {"500 Cannot read default client. Error: 5"}}};
    for (const auto& row : kCases) {
        SCOPED_TRACE(&row - kCases);
        Office office;
        office.values = row.values;
        office.read_error = row.read_error;
        office.write_error = row.write_error;
        office.answers = row.answers;
        EXPECT_EQ(office.Outcome([&](auto with) { InitializeMapi(office.functions, with); }),
                  row.outcome);
        EXPECT_EQ(office.values, row.values);
        const bool refused = row.read_error + row.write_error != 0;
        EXPECT_EQ(office.client_meanwhile, refused ? "Other" : "Microsoft Outlook");
        const std::vector<ULONG> flags{0, 8};
        EXPECT_THAT(office.flags, testing::ElementsAreArray(flags.data(), row.answers.size()));
    }
}

}  // namespace
