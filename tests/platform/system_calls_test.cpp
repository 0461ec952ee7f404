#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "tests/support/scoped_environment.h"
#include "vek/platform/dynamic_library.h"
#include "vek/platform/environment.h"
#include "vek/platform/process.h"

namespace {

using namespace vek::platform;

TEST(DynamicLibrary, FindsWhatItExports) {
    DynamicLibrary missing = DynamicLibrary::Load("no such library");
    EXPECT_FALSE(missing);
    EXPECT_EQ(LastError(), system_error::kModuleNotFound);
    EXPECT_EQ(missing.Find("malloc"), nullptr);
    EXPECT_EQ(LastError(), system_error::kProcedureNotFound);

    // The C library has another name on each system.
    DynamicLibrary library = DynamicLibrary::Load("msvcrt.dll");
    if (!library) library = DynamicLibrary::Load("libc.so.6");
    ASSERT_TRUE(library);
    missing = std::move(library);
    EXPECT_NE(missing.Find("malloc"), nullptr);
    EXPECT_EQ(missing.Find("no such symbol"), nullptr);
    EXPECT_EQ(LastError(), system_error::kProcedureNotFound);
    EXPECT_EQ(missing.FindOrdinal(0xFFFF), nullptr);
}

TEST(Environment, TellsTextsOfAnyLengthFromNone) {
    EXPECT_EQ(GetEnvironment("MLXO_TEST"), std::nullopt);
    for (const std::size_t length : {1u, 259u, 260u, 261u, 2000u}) {
        const std::string value(length, 'x');
        const tests::ScopedEnvironment variable("MLXO_TEST", value);
        EXPECT_EQ(GetEnvironment("MLXO_TEST"), value);
    }
}

TEST(LastError, IsTheThreads) {
    SetLastError(5);
    std::thread([] { EXPECT_NE(LastError(), 5u); }).join();
}

TEST(Process, TellsItsName) { EXPECT_EQ(CurrentProcessName(), "vek_tests"); }

}  // namespace
