#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "tests/remote/child_process.h"

namespace tests {
namespace {

class PosixChild final : public ChildProcess {
public:
    explicit PosixChild(pid_t id) : id_(id) {}
    ~PosixChild() override { PosixChild::Kill(); }
    void Kill() override {
        if (id_ <= 0) return;
        ::kill(id_, SIGKILL);
        ::waitpid(id_, nullptr, 0);
        id_ = 0;
    }

private:
    pid_t id_;
};

}  // namespace

std::unique_ptr<ChildProcess> StartBeside(const std::string& program, const std::string& argument) {
    const auto path = std::filesystem::read_symlink("/proc/self/exe").parent_path() / program;
    std::string name = path.string();
    std::string text = argument;
    char* const arguments[] = {name.data(), text.data(), nullptr};
    pid_t id = 0;
    ::posix_spawn(&id, name.c_str(), nullptr, nullptr, arguments, environ);
    return std::make_unique<PosixChild>(id);
}

}  // namespace tests
