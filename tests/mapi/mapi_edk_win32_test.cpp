// The loader against the system's registry and real libraries, which stand in for Outlook's.

#include <gtest/gtest.h>

#include <filesystem>
#include <future>

#include "internal/helpers/registry_impl.h"
#include "mapi/mapi_edk.h"
#include "tests/support/recording_tracer.h"
#include "tests/support/scoped_environment.h"
#include "tests/support/scratch_registry_win32.h"
#include "tests/support/temporary_folder.h"
#include "vek/core/ref_ptr.h"

namespace {

using namespace plugins::mapi;

// Loads the library `name` and calls it; `host_mode` is how the host has COM on its thread.
void LoadAndCall(const char* name, DWORD host_mode, std::size_t ordinals, std::size_t retries) {
    SCOPED_TRACE(name);
    const tests::TemporaryFolder store;
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
    registry.Set(outlook, L"MSIOfficeLCID", std::wstring_view(L"1033\0\0", 6), REG_MULTI_SZ);
    registry.Set(L"Software\\Sandbox MAPI components", L"{mapi}/1033", library.native());
    registry.Set(L"SOFTWARE\\Clients\\Mail", nullptr, L"Other");

    const auto tracer = std::make_shared<tests::RecordingTracer>();
    const MapiEnvironment environment{.tracer = tracer};
    std::async(std::launch::async, [&] {
        EXPECT_EQ(::CoInitializeEx(nullptr, host_mode), S_OK);
        auto mapi = LoadMapi(environment);
        InitializeMapi(*mapi, environment);
        vek::RefPtr<IMAPISession> session;
        EXPECT_EQ(mapi->logon_ex(0, nullptr, nullptr, 0, session.put()), S_OK);
        vek::RefPtr<IAddrBook> book;
        EXPECT_EQ(session->OpenAddressBook(0, nullptr, AB_NO_DIALOG, book.put()), S_OK);
        SPropValue* value = nullptr;
        EXPECT_EQ(mapi->get_one_prop(book.get(), PROP_TAG(PT_LONG, 1), &value), MAPI_E_NOT_FOUND);
        book.reset();
        session.reset();
        mapi->uninitialize();
        EXPECT_NE(::GetModuleHandleA(name), nullptr);
        mapi.reset();
        EXPECT_EQ(::GetModuleHandleA(name), nullptr);
        ::CoUninitialize();
    }).get();
    std::u16string client;
    namespace helpers = plugins::helpers;
    helpers::ReadString({helpers::RegistryHandle::kLocalMachine, u"SOFTWARE\\Clients\\Mail"}, u"",
                        client, environment.registry);
    EXPECT_EQ(client, u"Other");
    EXPECT_EQ(tracer->Count("Try mapi32"), 0u);
    EXPECT_EQ(tracer->Count("by ordinal"), ordinals);
    EXPECT_EQ(tracer->Count("RPC_E_CHANGED_MODE"), retries);
}

TEST(MapiEdkWin32, CallsRealLibraries) {
    LoadAndCall("sandbox_mapi.dll", COINIT_APARTMENTTHREADED, 0, 0);
    LoadAndCall("sandbox_mapi_ordinals.dll", COINIT_MULTITHREADED, 4, 1);
    // They lie beside this program, where a bare name is not looked for.
    EXPECT_EQ(vek::platform::TheLibraryLoader().Load("sandbox_mapi.dll"), nullptr);
}

}  // namespace
