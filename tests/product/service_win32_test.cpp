// The product as a real service. What this does to the machine is for Wine's prefix alone, where a
// service runs as the user.

#include <gmock/gmock.h>
#include <windows.h>
// After windows.h, which it needs.
#include <sddl.h>

#include "common/loader/product_loader.h"
#include "product/process/product_process.h"
#include "product/state/places.h"
#include "product/state/process_start.h"
#include "remote/rpc/identity_win32.h"
#include "tests/product/product_folder.h"
#include "vek/core/border.h"
#include "vek/platform/handle_win32.h"
#include "vek/platform/wide_win32.h"

namespace reference_product {
namespace {

namespace fs = std::filesystem;
namespace result = vek::result;
using plugins::product_info::ProductProcess;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr wchar_t kName[] = L"MlxoMailProtectionTest";
constexpr wchar_t kKey[] = L"SOFTWARE\\QZ\\Mail Plugin";

class ServiceTest : public testing::Test {
protected:
    void SetUp() override {
        if (!remote::IsWine()) GTEST_SKIP();
        // A path with a blank, as an installed program's.
        fs::copy(PathOf(product_.path()), installed_);
        const std::string name(std::begin(kName), std::end(kName) - 1);
        ReplaceTextFile(installed_ / "product_info.json", R"({"Service": ")" + name + "\"}");
        const std::wstring line = L"\"" + (installed_ / "mlxo_product.exe").wstring() +
                                  L"\" --service --no-process-access";
        manager_ = ::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
        // An earlier run may have been ended before it could take its service away.
        service_ = ::OpenServiceW(manager_, kName, SERVICE_ALL_ACCESS);
        if (service_ != nullptr) {
            Stop();
            ::DeleteService(service_);
            ::CloseServiceHandle(service_);
        }
        service_ =
            ::CreateServiceW(manager_, kName, kName, SERVICE_ALL_ACCESS, SERVICE_WIN32_OWN_PROCESS,
                             SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL, line.c_str(), nullptr,
                             nullptr, nullptr, nullptr, nullptr);
        ASSERT_NE(service_, nullptr) << ::GetLastError();
        fs::remove_all(data_.parent_path());
        const std::string account = remote::TheIdentitySource().Self()->account;
        ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, kKey, L"ProcessAccount", REG_SZ,
                          vek::platform::ToWide(account).c_str(),
                          static_cast<DWORD>(2 * account.size() + 2));
    }
    void TearDown() override {
        if (service_ == nullptr) return;
        Stop();
        ::DeleteService(service_);
        ::CloseServiceHandle(service_);
        ::CloseServiceHandle(manager_);
        ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kKey, L"ProcessAccount");
        fs::remove_all(data_.parent_path());
    }

    SERVICE_STATUS_PROCESS Status() const {
        SERVICE_STATUS_PROCESS status{};
        DWORD size = 0;
        ::QueryServiceStatusEx(service_, SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status),
                               sizeof status, &size);
        return status;
    }
    bool Start() { return ::StartServiceW(service_, 0, nullptr) != FALSE && IsFound(); }
    // Whether it is stopped; how long that took, in `took_`.
    bool Stop() {
        const auto begun = steady_clock::now();
        SERVICE_STATUS status;
        const bool stopped =
            ::ControlService(service_, SERVICE_CONTROL_STOP, &status) != FALSE &&
            tests::ProductFolder::Soon([&] { return Status().dwCurrentState == SERVICE_STOPPED; });
        took_ = steady_clock::now() - begun;
        return stopped;
    }
    vek::result_t Find() {
        return vek::AtBorder([&] { found_ = FindProduct(environment_); });
    }
    // Waits until it is found, as another process than it was.
    bool IsFound() {
        const std::uint32_t before = found_.address.process_id;
        return tests::ProductFolder::Soon(
            [&] { return Find() == result::kOk && found_.address.process_id != before; });
    }
    static void Kill(DWORD id) {
        const vek::platform::UniqueHandle process(::OpenProcess(PROCESS_TERMINATE, FALSE, id));
        EXPECT_NE(::TerminateProcess(process.get(), 7), FALSE) << id;
    }
    static bool Suspend(DWORD id) {
        const vek::platform::UniqueHandle process(::OpenProcess(PROCESS_SUSPEND_RESUME, FALSE, id));
        const auto suspend = reinterpret_cast<LONG(WINAPI*)(HANDLE)>(reinterpret_cast<void*>(
            ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "NtSuspendProcess")));
        return suspend(process.get()) == 0;
    }
    // Holds the files that say where the scanner is, as a user can, and keeps them from others.
    std::vector<vek::platform::UniqueHandle> TakeNames(DWORD share = 0) const {
        std::vector<vek::platform::UniqueHandle> taken;
        for (const fs::path& path : ScannerNames(data_).All())
            taken.emplace_back(::CreateFileW(path.c_str(), GENERIC_READ, share, nullptr,
                                             OPEN_EXISTING, 0, nullptr));
        return taken;
    }
    std::string log() const { return tests::ReadFile(data_ / "private" / "product.log"); }

    const fs::path data_ = CommonDataFolder();
    const tests::ProductFolder product_{""};
    const tests::TemporaryFolder folder_;
    const fs::path installed_ = folder_.path() / "Mail Plugin";
    tests::InstalledAt registry_{tests::Utf8(installed_ / "product_info.dll")};
    const plugins::product_info::LibraryEnvironment environment_{
        .registry = registry_,
        .tracer = nullptr,
        .keeper = std::make_shared<plugins::product_info::LibraryKeeper>()};
    SC_HANDLE manager_ = nullptr, service_ = nullptr;
    ProductProcess found_;
    steady_clock::duration took_{};
};

TEST_F(ServiceTest, IsFoundComesBackAndStops) {
    EXPECT_EQ(Find(), result::kNotReady);
    ASSERT_TRUE(Start()) << log();
    EXPECT_EQ(found_.account, remote::TheIdentitySource().Self()->account);
    EXPECT_THAT(log(), testing::HasSubstr("other processes are not opened"));
    const DWORD parent = Status().dwProcessId, first = found_.address.process_id;
    EXPECT_NE(parent, first);

    const auto begun = steady_clock::now();
    const auto taken = TakeNames();
    EXPECT_EQ(taken.size(), 1u);
    Kill(first);
    EXPECT_TRUE(tests::ProductFolder::Soon([&] { return Find() == result::kNotReady; }));
    ASSERT_TRUE(IsFound()) << log();
    const auto away = steady_clock::now() - begun;
    EXPECT_GE(away, milliseconds(1000));
    EXPECT_LT(away, milliseconds(3000));
    EXPECT_EQ(Status().dwProcessId, parent);
    EXPECT_THAT(log(),
                testing::HasSubstr("scanner ended: exit code 7; it is started again in 1000 ms"));
    {
        vek::RefPtr<plugins::ILoader> loader;
        ASSERT_EQ(plugins::loader::ProductLoaderFactory(environment_)(loader), result::kOk);
        vek::RefPtr<plugins::IServiceLocator> locator;
        EXPECT_EQ(loader->GetInterface(plugins::IServiceLocator::kInterfaceId, locator.put_void()),
                  result::kOk);
    }

    // Removed names that are open stay until they are closed, and nobody can open them.
    const auto going = TakeNames(FILE_SHARE_READ | FILE_SHARE_DELETE);
    ASSERT_TRUE(Stop());
    EXPECT_LT(took_, milliseconds(1000));
    EXPECT_THAT(log(), testing::EndsWith("scanner ended: exit code 0; service stopped\n"));
    EXPECT_EQ(Find(), result::kNotReady);

    // A scanner that does not end when it is asked, and one whose service is killed. (Wine's
    // manager goes on saying that such a one runs.)
    ASSERT_TRUE(Start()) << log();
    ASSERT_TRUE(Suspend(found_.address.process_id));
    ASSERT_TRUE(Stop());
    EXPECT_LT(took_, milliseconds(1000));
    EXPECT_THAT(log(), testing::EndsWith("ended by force; service stopped\n"));
    EXPECT_FALSE(ProcessStart(found_.address.process_id));
    ASSERT_TRUE(Start()) << log();
    Kill(Status().dwProcessId);
    EXPECT_TRUE(
        tests::ProductFolder::Soon([&] { return !ProcessStart(found_.address.process_id); }));
}

TEST_F(ServiceTest, RefusesAFolderThatOthersCanChange) {
    const std::pair<fs::path, const char*> kPlanted[] = {{data_, "D:P(A;;FA;;;WD)"},
                                                         {data_ / "private", "D:P(A;;FR;;;WD)"},
                                                         {data_ / "users/a", "D:P(A;;FW;;;WD)"}};
    for (const auto& [path, list] : kPlanted) {
        SCOPED_TRACE(path);
        fs::remove_all(data_.parent_path());
        fs::create_directories(path);
        PSECURITY_DESCRIPTOR security = nullptr;
        ::ConvertStringSecurityDescriptorToSecurityDescriptorA(list, SDDL_REVISION_1, &security,
                                                               nullptr);
        ASSERT_NE(::SetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, security), FALSE);
        ::LocalFree(security);
        ::StartServiceW(service_, 0, nullptr);
        ASSERT_TRUE(
            tests::ProductFolder::Soon([&] { return Status().dwCurrentState == SERVICE_STOPPED; }));
        EXPECT_EQ(Status().dwServiceSpecificExitCode, static_cast<DWORD>(ExitCode::kRefused));
        EXPECT_FALSE(exists(data_ / "private" / "product.log"));
    }
}

}  // namespace
}  // namespace reference_product
