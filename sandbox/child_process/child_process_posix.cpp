#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <utility>

#include "sandbox/child_process/child_process.h"

namespace sandbox {
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
    int Wait() override {
        int status = 0;
        ::waitpid(std::exchange(id_, 0), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    pid_t id_;
};

}  // namespace

std::filesystem::path ProgramFolder() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path();
}

std::unique_ptr<ChildProcess> StartProgram(const std::filesystem::path& program,
                                           const std::vector<std::string>& arguments) {
    std::vector<std::string> texts = arguments;
    texts.insert(texts.begin(), program.string());
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    pid_t id = 0;
    ::posix_spawn(&id, program.c_str(), nullptr, nullptr, pointers.data(), environ);
    return std::make_unique<PosixChild>(id);
}

}  // namespace sandbox
