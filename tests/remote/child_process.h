#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace tests {

// A program of this build's, beside this one, with one argument. Killed when destroyed.
class ChildProcess {
public:
    virtual ~ChildProcess() = default;
    virtual void Kill() = 0;
};

std::unique_ptr<ChildProcess> StartBeside(const std::string& program, const std::string& argument);

}  // namespace tests
