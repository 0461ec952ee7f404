#pragma once

#include <filesystem>

#include "mail/dump/dump_options.h"

namespace mail_dump {

// How many dumps of ours a folder keeps.
inline constexpr std::size_t kMostDumps = 3;

// Writes the dump of a process whose thread waits at an exception: its threads with their stacks
// and registers, its modules, no heap. Makes the folders that are missing and gives the file's
// path: "mlxo.", the program's name, the process's id, the time in UTC and ".dmp". Only the newest
// dumps of that form stay, kMostDumps in all; other files are left alone. Raises std::system_error
// or std::runtime_error; no part of a dump is left then.
std::filesystem::path WriteDump(const DumpOptions& options);

}  // namespace mail_dump
