#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace sandbox {

// A program of this build's. Killed when destroyed.
class ChildProcess {
public:
    virtual ~ChildProcess() = default;
    virtual void Kill() = 0;
    // Waits for its end; gives its exit code. Once, and not for one that was killed.
    virtual int Wait() = 0;
};

// The folder of the program that runs.
std::filesystem::path ProgramFolder();

// `program` without the suffix that programs have.
std::unique_ptr<ChildProcess> StartProgram(const std::filesystem::path& program,
                                           const std::vector<std::string>& arguments);

inline std::unique_ptr<ChildProcess> StartBeside(const std::string& program,
                                                 const std::string& argument) {
    return StartProgram(ProgramFolder() / program, {argument});
}

}  // namespace sandbox
