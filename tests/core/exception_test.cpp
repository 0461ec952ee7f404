#include "vek/core/exception.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <typeinfo>

#include "internal/helpers/hresult_exception.h"
#include "vek/core/border.h"
#include "vek/core/text.h"

namespace {

using plugins::helpers::HResultCodeException;
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
            const vek::Exception& raised = *original;
            EXPECT_EQ(typeid(copy), typeid(raised));
            EXPECT_EQ(vek::NarrowDisplayText(copy), text);
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
        const auto raise = [&raised = raised, &text = text] {
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
