#include "vek/platform/append_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "vek/platform/errno_posix.h"

namespace vek::platform {

AppendFile AppendFile::Open(std::string_view path) { return Open(path, false); }
AppendFile AppendFile::Create(std::string_view path) { return Open(path, true); }

AppendFile AppendFile::Open(std::string_view path, bool is_new) {
    AppendFile file;
    file.handle_ = NativeHandle(::open(
        std::string(path).c_str(),
        O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | (is_new ? O_EXCL : 0),
        S_IRUSR | S_IWUSR));
    struct stat facts;
    if (!file || ::fstat(static_cast<int>(file.handle_.get()), &facts) != 0) {
        FailWith(errno);
        return {};
    }
    if (!S_ISREG(facts.st_mode) || facts.st_uid != ::geteuid() || facts.st_nlink > 1) {
        FailWith(EPERM);
        return {};
    }
    return file;
}

bool AppendFile::Append(std::string_view bytes) noexcept {
    const ssize_t taken = ::write(static_cast<int>(handle_.get()), bytes.data(), bytes.size());
    if (taken == static_cast<ssize_t>(bytes.size())) return true;
    FailWith(taken < 0 ? errno : EIO);
    return false;
}

bool AppendFile::Flush() noexcept {
    if (::fsync(static_cast<int>(handle_.get())) == 0) return true;
    FailWith(errno);
    return false;
}

std::uint64_t AppendFile::Size() const noexcept {
    struct stat status;
    if (::fstat(static_cast<int>(handle_.get()), &status) != 0) return 0;
    return static_cast<std::uint64_t>(status.st_size);
}

}  // namespace vek::platform
