#include "internal/helpers/hresult_exception.h"

#include <gtest/gtest.h>

#include <thread>

#include "vek/core/border.h"
#include "vek/platform/error_info.h"

namespace {

using plugins::helpers::HResultCodeException;
using vek::platform::SetErrorDescription;

constexpr vek::SourceLocation kRaisedAt{"f", 1};

TEST(HResultCodeException, DescribesItselfWithTheThreadsErrorInformation) {
    const HResultCodeException plain("f", 1, 0x4F);
    const HResultCodeException worded(kRaisedAt, -1, vek::wide_string_t(u"Cannot save"));

    SetErrorDescription(u"locked \u00FC");
    EXPECT_EQ(plain.Description().view(), u"HRESULT=0x0000004f description: locked \u00FC");
    EXPECT_EQ(plain.Description().view(), u"HRESULT=0x0000004f");
    SetErrorDescription(u"");
    EXPECT_EQ(worded.Description().view(), u"Cannot save HRESULT=0xffffffff");

    SetErrorDescription(u"of this thread");
    std::thread([&] { EXPECT_EQ(plain.Description().view(), u"HRESULT=0x0000004f"); }).join();
    EXPECT_EQ(worded.Description().view(),
              u"Cannot save HRESULT=0xffffffff description: of this thread");
}

TEST(HResult, SystemErrorsBecomeFailures) {
    EXPECT_EQ(plugins::helpers::HResultFromWin32(0), 0);
    const std::pair<vek::platform::system_error_t, std::uint32_t> cases[] = {
        {0, 0x80004005}, {5, 0x80070005}, {0x12345, 0x80072345}, {0x80040111, 0x80040111}};
    for (const auto& [error, expected] : cases) {
        vek::platform::SetLastError(error);
        EXPECT_EQ(vek::AtBorder([] { plugins::helpers::ThrowLastError(); }), expected);
    }
}

}  // namespace
