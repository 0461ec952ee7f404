// Writes the dump of a process that has crashed and waits for it. The plug-in's exception filter
// starts it; usage and exit codes are those of dump_options.h.

#include <windows.h>

#include <shellapi.h>

#include <exception>
#include <iostream>
#include <new>
#include <span>
#include <string_view>

#include "mail/dump/dump_file.h"
#include "mail/dump/dump_options.h"
#include "mlxo_version.h"
#include "vek/platform/handle_win32.h"
#include "vek/platform/wide_win32.h"

namespace {

enum class ExitCode { kDone = 0, kNotWritten = 1, kUsage = 2 };

ExitCode Run() {
    int count = 0;
    const vek::platform::UniqueLocal<wchar_t*> words(
        ::CommandLineToArgvW(::GetCommandLineW(), &count));
    if (!words) throw std::bad_alloc();
    const std::span<const wchar_t* const> arguments(words.get() + 1,
                                                    static_cast<std::size_t>(count) - 1);
    try {
        if (arguments.size() == 1 && std::wstring_view(arguments[0]) == L"--version") {
            std::cout << "mlxo_dump " MLXO_VERSION "\n";
            return ExitCode::kDone;
        }
        const auto path = mail_dump::WriteDump(mail_dump::ParseOptions(arguments));
        std::cout << vek::platform::FromWide(path.native()) << '\n';
        return ExitCode::kDone;
    } catch (const mail_dump::UsageError& error) {
        std::cerr << error.what() << '\n' << mail_dump::kUsage;
        return ExitCode::kUsage;
    }
}

}  // namespace

int main() {
    try {
        return static_cast<int>(Run());
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return static_cast<int>(ExitCode::kNotWritten);
    }
}
