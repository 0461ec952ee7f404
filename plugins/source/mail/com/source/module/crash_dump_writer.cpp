#include "module/crash_dump_writer.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "vek/core/text.h"
#include "vek/platform/wide_win32.h"

namespace plugins::dll {
namespace {

constexpr std::string_view kProgram = "mlxo_dump.exe";

// The command line's end, whose digits are the fault's.
constexpr std::string_view kFault = " --thread 0x00000000 --exception 0x0000000000000000";
constexpr std::size_t kThreadFromEnd = 39;
constexpr std::size_t kAddressFromEnd = 16;
static_assert(kFault.substr(kFault.size() - kThreadFromEnd).starts_with("00000000 --exception"));

// An argument in the form that programs take apart: backslashes count twice before a quote.
std::string Quoted(std::string_view argument) {
    std::string quoted = "\"";
    std::size_t backslashes = 0;
    for (const char unit : argument) {
        if (unit == '"') quoted.append(backslashes + 1, '\\');
        backslashes = unit == '\\' ? backslashes + 1 : 0;
        quoted += unit;
    }
    quoted.append(backslashes, '\\');
    return quoted += '"';
}

// Writes the digits of `number` that many places before the end of `text`.
void Put(auto& text, std::size_t from_end, std::uint32_t number) noexcept {
    std::ranges::copy(vek::HexDigits<char>(number),
                      text.end() - static_cast<std::ptrdiff_t>(from_end));
}

}  // namespace

CrashDumpWriter::CrashDumpWriter(const std::wstring& module_path, std::string_view folder)
    : program_(module_path.substr(0, module_path.find_last_of(L'\\') + 1) +
               vek::platform::ToWide(kProgram)),
      command_line_(Quoted(vek::platform::FromWide(program_)) + " --folder " + Quoted(folder) +
                    " --process " + std::to_string(::GetCurrentProcessId()) + std::string(kFault)),
      wide_command_line_(vek::platform::ToWide(command_line_)) {}

void CrashDumpWriter::SetFault(DWORD thread, const EXCEPTION_POINTERS* exception) noexcept {
    const auto address = reinterpret_cast<std::uintptr_t>(exception);
    const auto put = [&](auto& text) {
        Put(text, kThreadFromEnd, thread);
        Put(text, kAddressFromEnd, static_cast<std::uint32_t>(address >> 32));
        Put(text, kAddressFromEnd - 8, static_cast<std::uint32_t>(address));
    };
    put(command_line_);
    put(wide_command_line_);
}

vek::platform::UniqueHandle CrashDumpWriter::Start() noexcept {
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (::CreateProcessW(program_.c_str(), wide_command_line_.data(), nullptr, nullptr, FALSE,
                         CREATE_NO_WINDOW, nullptr, nullptr, &startup, &process) == FALSE) {
        return {};
    }
    ::CloseHandle(process.hThread);
    return vek::platform::UniqueHandle(process.hProcess);
}

}  // namespace plugins::dll
