#include "vek/core/exception.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <typeinfo>

#include "internal/helpers/hresult_exception.h"
#include "tests/support/allocation_probe.h"
#include "vek/core/border.h"
#include "vek/core/text.h"
#include "vek/core/throw.h"

namespace {

using plugins::helpers::HResultCodeException;
using tests::AllocationProbe;
using vek::SourceLocation;
using vek::wide_string_t;
namespace result = vek::result;

constexpr SourceLocation kLocation{"vek/some/file.cpp", 4294967295u};

struct Detail : vek::ExceptionDetail {
    std::unique_ptr<ExceptionDetail> Clone() const override {
        return std::make_unique<Detail>(*this);
    }
};

template <class T>
std::shared_ptr<vek::Exception> Plain() {
    return std::make_shared<T>(kLocation, wide_string_t(u"caf\u00E9"), std::make_unique<Detail>());
}

template <class T>
std::shared_ptr<vek::Exception> Coded() {
    return std::make_shared<T>(kLocation, result::kNotFound);
}

TEST(Exception, KeepsTypeAndFieldsWhenClonedAndRethrown) {
    const std::pair<std::shared_ptr<vek::Exception>, std::string> cases[] = {
        {Plain<vek::Exception>(), "Exception"},
        {Plain<vek::CheckFailedException>(), "CheckFailedException"},
        {Plain<vek::BadQueryInterfaceException>(), "BadQueryInterfaceException"},
        {Plain<vek::contract::RequireViolation>(), "RequireViolation"},
        {Plain<vek::contract::EnsureViolation>(), "EnsureViolation"},
        {Plain<vek::contract::InvariantViolation>(), "InvariantViolation"},
        {Plain<vek::datetime::TimeSystemError>(), "TimeSystemError"},
        {Coded<vek::ResultCodeException>(), "ResultCodeException"},
        {Coded<vek::CheckResultFailedException>(), "CheckResultFailedException"},
        {Coded<vek::CreateInstanceException>(), "CreateInstanceException"},
        {Coded<vek::GetInterfaceException>(), "GetInterfaceException"},
        {Coded<vek::SystemException>(), "SystemException"},
        {std::make_shared<HResultCodeException>(kLocation, -2), "HResultCodeException"},
    };
    for (const auto& [original, name] : cases) {
        const char* const description = original->detail()      ? "caf\xC3\xA9"
                                        : name.starts_with('H') ? "HRESULT=0xfffffffe"
                                                                : "Not found";
        const std::string text = name + " - " + description + ". At vek/some/file.cpp(4294967295) ";
        const auto expect_same = [&, &original = original](const vek::Exception& copy) {
            EXPECT_EQ(typeid(copy), typeid(*original));
            EXPECT_EQ(vek::NarrowDisplayText(copy), text);
            EXPECT_EQ(vek::ToUtf8(vek::DisplayText(copy).view()), text);
            EXPECT_EQ(copy.detail() == nullptr, original->detail() == nullptr);
            EXPECT_TRUE(copy.detail() == nullptr || copy.detail() != original->detail());
        };
        expect_same(*original->Clone());
        try {
            original->Rethrow();
        } catch (const vek::Exception& caught) {
            expect_same(caught);
        }
    }
    vek::Exception assigned({"f", 1}, wide_string_t(1, 0xD800));
    EXPECT_EQ(vek::NarrowDisplayText(assigned), "<Exception display text conversion error>");
    assigned = *cases[0].first;
    EXPECT_EQ(vek::DisplayText(assigned), vek::DisplayText(*cases[0].first));
}

TEST(Exception, HasAnEmptyTextWithoutMemory) {
    const vek::ResultCodeException exception(kLocation, result::kInvalidArgument);
    const std::function<bool()> cases[] = {
        [&] { return vek::DisplayText(exception).empty(); },
        [&] { return vek::NarrowDisplayText(exception).empty(); },
        [&] { return vek::CurrentExceptionText().empty(); },
    };
    try {
        throw std::runtime_error("longer than a short text that a string holds in itself");
    } catch (...) {
        for (const auto& is_empty : cases) {
            std::size_t failing = 0, count = 0;
            do {
                const AllocationProbe probe(++failing);
                const bool empty = is_empty();
                count = probe.count();
                EXPECT_EQ(empty, count >= failing) << failing;
            } while (count >= failing);
            EXPECT_GT(failing, 1u);
        }
    }
}

TEST(Throw, CapturesTheLocationOfTheStatement) {
    const std::uint32_t first_line = __LINE__ + 2;
    const std::function<void()> statements[] = {
        [] { vek::ThrowResult(result::kNotFound); },
        [] { vek::ThrowBadQueryInterface(); },
        [] { vek::CheckResult(result::kNotFound); },
        [] { vek::Check(false); },
        [] { plugins::helpers::CheckHResult(-1); },
        [] { plugins::helpers::CheckGiven(0, std::unique_ptr<int>()); },
    };
    for (std::uint32_t i = 0; i < std::size(statements); ++i) {
        try {
            statements[i]();
            ADD_FAILURE() << i;
        } catch (const vek::Exception& exception) {
            EXPECT_STREQ(exception.location().file, "tests/core/exception_test.cpp");
            EXPECT_EQ(exception.location().line, first_line + i);
        }
    }
    vek::CheckResult(result::kFalse);
    vek::Check(true);
    plugins::helpers::CheckHResult(0x00040380);
}

TEST(Border, TurnsExceptionsIntoFailuresAndTexts) {
    const SourceLocation at{"f", 1};
    const struct {
        std::exception_ptr raised;
        vek::result_t result;
        std::string text;
    } cases[] = {
        {std::make_exception_ptr(vek::CheckResultFailedException(at, result::kNotFound)),
         result::kNotFound, "CheckResultFailedException - Not found. At f(1) "},
        {std::make_exception_ptr(HResultCodeException(at, -2)), 0xFFFFFFFE,
         "HResultCodeException - HRESULT=0xfffffffe. At f(1) "},
        {std::make_exception_ptr(vek::ResultCodeException(at, result::kFalse)), result::kUnexpected,
         "ResultCodeException - False. At f(1) "},
        {std::make_exception_ptr(vek::CheckFailedException(at)), result::kUnknownException,
         "CheckFailedException - . At f(1) "},
        {std::make_exception_ptr(std::bad_alloc()), result::kOutOfMemory, std::bad_alloc().what()},
        {std::make_exception_ptr(std::out_of_range("x")), result::kUnknownException, "x"},
        {std::make_exception_ptr(5), result::kUnknownException, "Unknown exception"},
    };
    for (const auto& [raised, expected, text] : cases) {
        const auto raise = [&] {
            try {
                std::rethrow_exception(raised);
            } catch (...) {
                EXPECT_EQ(vek::CurrentExceptionText(), text);
                throw;
            }
        };
        EXPECT_EQ(vek::AtBorder(raise), expected) << text;
    }
    EXPECT_EQ(vek::AtBorder([] {}), result::kOk);
    EXPECT_EQ(vek::AtBorder([] { return result::kFalse; }), result::kFalse);
}

}  // namespace
