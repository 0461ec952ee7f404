#include <gtest/gtest.h>

#include <windows.h>

#include <dbghelp.h>

#include <chrono>
#include <set>
#include <span>

#include "mail/dump/dump_file.h"
#include "sandbox/child_process/child_process.h"
#include "tests/support/scoped_environment.h"
#include "tests/support/temporary_folder.h"
#include "vek/platform/handle_win32.h"

namespace {

namespace fs = std::filesystem;
using vek::platform::UniqueHandle;

std::set<std::string> NamesIn(const fs::path& folder) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder))
        names.insert(entry.path().filename().string());
    return names;
}

template <class Stream>
const Stream* FindStream(std::string& dump, MINIDUMP_STREAM_TYPE type) {
    MINIDUMP_DIRECTORY* directory = nullptr;
    void* stream = nullptr;
    ULONG size = 0;
    if (::MiniDumpReadDumpStream(dump.data(), type, &directory, &stream, &size) == FALSE) return {};
    return static_cast<const Stream*>(stream);
}

// What has crashed, and that nothing of the heap is there.
void ExpectDump(std::string dump, DWORD code) {
    const auto* const fault = FindStream<MINIDUMP_EXCEPTION_STREAM>(dump, ExceptionStream);
    const auto* const threads = FindStream<MINIDUMP_THREAD_LIST>(dump, ThreadListStream);
    ASSERT_TRUE(fault != nullptr && threads != nullptr);
    EXPECT_EQ(fault->ExceptionRecord.ExceptionCode, code);
    const std::span all(threads->Threads, threads->NumberOfThreads);
    EXPECT_TRUE(std::ranges::count(all, fault->ThreadId, &MINIDUMP_THREAD::ThreadId) == 1);
    EXPECT_NE(dump.find("on the stack"), dump.npos);
    EXPECT_EQ(dump.find("on the heap"), dump.npos);
}

TEST(CrashReporting, DumpsOurFaultsAndLeavesTheProcessToTheirs) {
    constexpr DWORD kWrite = 0xC0000005, kOverflow = 0xC00000FD, kTerminated = 0xE0584C4D;
    const struct {
        const char* crash;
        DWORD code;
        bool ours;
        const char* log;
    } kCases[] = {
        {"write", kWrite, true, "report c0000005\nfilter c0000005\n"},
        {"thread", kWrite, true, "report c0000005\nfilter c0000005\n"},
        {"call_null", kWrite, true, "report c0000005\nfilter c0000005\n"},
        {"in_system", kWrite, true, "report c0000005\nfilter c0000005\n"},
        {"terminate", kTerminated, true, "report e0584c4d\nfilter e0584c4d\n"},
        {"overflow", kOverflow, true, "report c00000fd\nfilter c00000fd\n"},
        {"overflow_twice", kOverflow, true, "report c00000fd\nfilter c00000fd\n"},
        {"second", kWrite, true, "report c0000005\nfilter c0000005\n"},
        {"elsewhere", kWrite, false, "filter c0000005\n"},
        {"elsewhere_overflow", kOverflow, false, "filter c00000fd\n"},
        {"elsewhere_broken", 0, false,
         "filter c0000005\nmodule loaded 00000001\nfilter put back 00000001\n"},
        {"elsewhere_standing", kWrite, false,
         "filter c0000005\nmodule loaded 00000001\nfilter put back 00000001\n"},
        {"second_addin", kWrite, true, "report c0000005\nfilter c0000005\n"},
        {"none", 0, false, "module loaded 00000000\nfilter put back 00000001\n"},
        {"other_filter", 0, false, "module loaded 00000001\nfilter put back 00000000\n"},
        {"filter_gone", kWrite, true, "report c0000005\nfilter c0000005\n"},
        {"filter_changed", kWrite, true, "report c0000005\nother c0000005\nfilter c0000005\n"},
    };
    const fs::path built = sandbox::ProgramFolder().parent_path();
    for (const auto& [crash, code, ours, log] : kCases) {
        SCOPED_TRACE(crash);
        const tests::TemporaryFolder folder;
        const tests::ScopedEnvironment data("QZAppData", tests::Utf8(folder.path()));
        const fs::path dumps = folder.path() / "trace" / "dumps";
        fs::create_directories(dumps);
        for (const char* const name : {"mlxo.3.dmp", "mlxo.2.dmp", "mlxo.1.dmp", "other.dmp"}) {
            std::ofstream(dumps / name) << "older";
            fs::last_write_time(
                dumps / name, fs::file_time_type::clock::now() - std::chrono::hours(name[5] - '0'));
        }
        const auto host =
            sandbox::StartProgram(sandbox::ProgramFolder() / "crash_host",
                                  {tests::Utf8(built / "module" / "mlxo.dll"),
                                   tests::Utf8(built / "product" / "product_info.dll"),
                                   tests::Utf8(folder.path() / "log"), crash});
        EXPECT_EQ(static_cast<DWORD>(host->Wait()), code);
        EXPECT_EQ(tests::ReadFile(folder.path() / "log"), log);

        std::set<std::string> names = NamesIn(dumps);
        EXPECT_EQ(names.erase("mlxo.1.dmp") + names.erase("mlxo.2.dmp") + names.erase("other.dmp"),
                  3u);
        ASSERT_EQ(names.size(), 1u);
        if (!ours) {
            EXPECT_EQ(*names.begin(), "mlxo.3.dmp");
            continue;
        }
        EXPECT_TRUE(names.begin()->starts_with("mlxo.crash_host."));
        ExpectDump(tests::ReadFile(dumps / *names.begin()), code);
        std::string trace;
        for (const auto& entry : fs::directory_iterator(folder.path() / "trace"))
            if (entry.is_regular_file()) trace += tests::ReadFile(entry.path());
        EXPECT_NE(trace.find("\t100\tStart dump writer process: exception 0x"), trace.npos);
        EXPECT_NE(trace.find("\t100\tDump writer command line: \""), trace.npos);
        EXPECT_NE(trace.find("\t100\tDump writer has ended with code 0"), trace.npos);
    }
}

// What is wrong with a command line; empty when nothing is.
std::string Complaint(std::initializer_list<const wchar_t*> arguments) {
    try {
        mail_dump::ParseOptions({arguments.begin(), arguments.size()});
        return {};
    } catch (const mail_dump::UsageError& error) {
        return error.what();
    }
}

TEST(DumpWriter, SaysWhatIsWrongWithItsArguments) {
    EXPECT_EQ(Complaint({L"--folder", L"C:\\\u0434", L"--process", L"1", L"--thread", L"0x2",
                         L"--exception", L"0xffffffffffffffff"}),
              "");
    EXPECT_EQ(Complaint({}), "--folder is missing");
    EXPECT_EQ(Complaint({L"--heap"}), "unknown argument \"--heap\"");
    EXPECT_EQ(Complaint({L"--folder"}), "--folder lacks its value");
    EXPECT_EQ(Complaint({L"--folder", L"C:\\", L"--folder", L"C:\\"}), "--folder is given twice");
    const auto with = [](const wchar_t* folder, const wchar_t* process) {
        return Complaint(
            {L"--folder", folder, L"--process", process, L"--thread", L"1", L"--exception", L"1"});
    };
    EXPECT_EQ(with(L"dumps", L"1"), "--folder takes an absolute path, not \"dumps\"");
    for (const std::wstring number : {L"0", L"-1", L"0x", L"1 ", L"4294967296", L"one", L"\u0661"})
        EXPECT_TRUE(with(L"C:\\", number.c_str()).starts_with("--process takes a number"));
}

TEST(DumpWriter, LeavesNothingBehindWhereThereIsNoCrash) {
    const tests::TemporaryFolder folder;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started{};
    std::wstring program = sandbox::ProgramFolder() / "crash_host.exe";
    ASSERT_TRUE(::CreateProcessW(nullptr, program.data(), nullptr, nullptr, FALSE, CREATE_SUSPENDED,
                                 nullptr, nullptr, &startup, &started));
    const UniqueHandle process(started.hProcess), thread(started.hThread);
    const auto failure = [&](DWORD of_process, DWORD of_thread) -> std::string {
        try {
            mail_dump::WriteDump({folder.path() / "dumps", of_process, of_thread, 0x10});
            return {};
        } catch (const std::exception& error) {
            return error.what();
        }
    };
    const DWORD own = ::GetCurrentProcessId();
    EXPECT_EQ(failure(own, 1), "process " + std::to_string(own) + " is this one");
    EXPECT_TRUE(failure(0xFFFFFFF0, 1).starts_with("process 4294967280 cannot be opened: "));
    const DWORD other = ::GetCurrentThreadId();
    EXPECT_EQ(failure(started.dwProcessId, other), "thread " + std::to_string(other) +
                                                       " is not of process " +
                                                       std::to_string(started.dwProcessId));
    EXPECT_EQ(failure(started.dwProcessId, started.dwThreadId), "no exception is at the address");
    EXPECT_TRUE(fs::is_empty(folder.path()));
    ::TerminateProcess(process.get(), 0);
}

}  // namespace
