// The loader against the system's registry and real libraries, which stand in for Outlook's.

#include <gtest/gtest.h>

#include <future>

#include "mapi/mapi_edk.h"
#include "mapi/property_tags.h"
#include "sandbox/outlook/message_file.h"
#include "tests/support/recording_tracer.h"
#include "tests/support/scoped_environment.h"
#include "tests/support/scratch_registry_win32.h"
#include "tests/support/temporary_folder.h"
#include "vek/core/ref_ptr.h"

namespace {

using namespace plugins::mapi;
using sandbox::outlook::PropertyValue;

// The subject of a message of the library's store.
std::string ReadSubject(const MapiFunctions& mapi, std::string id) {
    vek::RefPtr<IMAPISession> session;
    vek::RefPtr<IUnknown> message;
    SPropValue* value = nullptr;
    ULONG type = 0;
    if (FAILED(mapi.logon_ex(0, nullptr, nullptr, 0, session.put())) ||
        FAILED(session->OpenEntry(static_cast<ULONG>(id.size()), reinterpret_cast<ENTRYID*>(&id[0]),
                                  nullptr, 0, &type, message.put())) ||
        FAILED(mapi.get_one_prop(static_cast<IMessage*>(message.get()), tag::kSubjectA, &value))) {
        return "failed";
    }
    const std::string subject = value->Value.lpszA;
    return mapi.free_buffer(value) == 0 ? subject : "not freed";
}

// Loads the library `name` and reads a message; `host_mode` is how the host has COM on its thread.
void LoadAndRead(const char* name, DWORD host_mode, std::size_t ordinals, std::size_t retries) {
    SCOPED_TRACE(name);
    const tests::TemporaryFolder store;
    sandbox::outlook::MessageRecord message;
    message.properties.Set(tag::kEntryId, PropertyValue::Binary("id"));
    message.properties.Set(tag::kSubjectW, PropertyValue::Text("Hello"));
    sandbox::outlook::SaveMessageFile(store.path() / "a.json", message);
    const tests::ScopedEnvironment variable("MLXO_SANDBOX_STORE", tests::Utf8(store.path()));

    // The folder's name differs in UTF-8 and in the ANSI code page.
    const tests::TemporaryFolder office;
    const auto library = office.path() / L"B\u00FCro" / name;
    std::filesystem::create_directory(library.parent_path());
    wchar_t program[1024];
    ::GetModuleFileNameW(nullptr, program, 1024);
    std::filesystem::copy_file(std::filesystem::path(program).replace_filename(name), library);

    const tests::ScratchRegistry registry;
    const wchar_t* const outlook = L"Software\\Clients\\Mail\\Microsoft Outlook";
    registry.Set(outlook, L"MSIComponentID", L"{mapi}");
    registry.Set(outlook, L"MSIOfficeLCID", L"1033");
    registry.Set(L"Software\\Sandbox MAPI components", L"{mapi}/1033", library.native());
    registry.Set(L"SOFTWARE\\Clients\\Mail", nullptr, L"Other");

    const auto tracer = std::make_shared<tests::RecordingTracer>();
    const MapiEnvironment environment{.tracer = tracer};
    std::async(std::launch::async, [&] {
        EXPECT_EQ(::CoInitializeEx(nullptr, host_mode), S_OK);
        auto mapi = LoadMapi(environment);
        InitializeMapi(*mapi, environment);
        EXPECT_EQ(ReadSubject(*mapi, "id"), "Hello");
        mapi->uninitialize();
        EXPECT_NE(::GetModuleHandleA(name), nullptr);
        mapi.reset();
        EXPECT_EQ(::GetModuleHandleA(name), nullptr);
        ::CoUninitialize();
    }).get();
    std::string client;
    environment.registry.ReadText(vek::platform::RegistryRoot::kLocalMachine,
                                  "SOFTWARE\\Clients\\Mail", "", client);
    EXPECT_EQ(client, "Other");
    EXPECT_EQ(tracer->Count("Try mapi32"), 0u);
    EXPECT_EQ(tracer->Count("by ordinal"), ordinals);
    EXPECT_EQ(tracer->Count("RPC_E_CHANGED_MODE"), retries);
}

TEST(MapiEdkWin32, ReadsAMessageThroughRealLibraries) {
    LoadAndRead("sandbox_mapi.dll", COINIT_APARTMENTTHREADED, 0, 0);
    LoadAndRead("sandbox_mapi_ordinals.dll", COINIT_MULTITHREADED, 4, 1);
}

}  // namespace
