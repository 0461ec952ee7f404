#pragma once

#include <cstdlib>
#include <string>

namespace tests {

// Sets an environment variable, and unsets it at its end.
class ScopedEnvironment {
public:
    ScopedEnvironment(const char* name, const std::string& value) : name_(name) { Put(value); }
    ~ScopedEnvironment() { Put({}); }
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

private:
    void Put(const std::string& value) const {
#ifdef _WIN32
        ::_putenv_s(name_, value.c_str());
#else
        value.empty() ? ::unsetenv(name_) : ::setenv(name_, value.c_str(), 1);
#endif
    }

    const char* name_;
};

}  // namespace tests
