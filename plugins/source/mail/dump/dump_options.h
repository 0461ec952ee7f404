#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <stdexcept>

namespace mail_dump {

// The command line of the dump writer.
struct DumpOptions {
    std::filesystem::path folder;  // absolute
    std::uint32_t process = 0;
    std::uint32_t thread = 0;
    std::uint64_t exception = 0;  // where the process's EXCEPTION_POINTERS are, in its memory
};

// What is wrong with a command line.
class UsageError : public std::runtime_error {
    using runtime_error::runtime_error;
};

// `arguments` lack the program's name. Raises UsageError.
DumpOptions ParseOptions(std::span<const wchar_t* const> arguments);

inline constexpr const char* kUsage =
    "usage: mlxo_dump --folder DIR --process ID --thread ID --exception ADDRESS\n"
    "       mlxo_dump --version\n"
    "Writes a dump of a process that waits at an exception: threads and stacks, no heap.\n"
    "Numbers are decimal, or hexadecimal after \"0x\". Ends with 0 when the dump is written, 1 "
    "when\n"
    "it could not be, 2 for wrong arguments.\n";

}  // namespace mail_dump
