#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace sandbox {

// A started program, killed with its owner. One thread at a time may use it.
class ChildProcess {
public:
    virtual ~ChildProcess() = default;
    virtual void Kill() = 0;
    // Waits for the end and gives the exit code. To be called once, and not after Kill.
    virtual int Wait() = 0;
};

// The folder of the running program.
std::filesystem::path ProgramFolder();

// Starts the program at the path `program`, which lacks the suffix that Windows' programs have.
std::unique_ptr<ChildProcess> StartProgram(const std::filesystem::path& program,
                                           const std::vector<std::string>& arguments);

// Starts a program that lies beside the running one.
inline std::unique_ptr<ChildProcess> StartBeside(const std::string& program,
                                                 const std::string& argument) {
    return StartProgram(ProgramFolder() / program, {argument});
}

}  // namespace sandbox
