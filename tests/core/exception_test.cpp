#include "vek/core/exception.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <typeinfo>

#include "internal/helpers/hresult_exception.h"
#include "tests/support/allocation_probe.h"
#include "vek/core/current_exception.h"
#include "vek/core/throw.h"

namespace {

using plugins::helpers::HResultCodeException;
using tests::AllocationProbe;
using vek::SourceLocation;
using vek::wide_string_t;

constexpr SourceLocation kPlace{"vek/some/file.cpp", 4294967295u};

struct Detail : vek::ExceptionDetail {
    explicit Detail(int v) : value(v) {}
    std::unique_ptr<ExceptionDetail> Clone() const override {
        return std::make_unique<Detail>(value);
    }
    int value;
};

void ExpectSame(const vek::Exception& copy, const vek::Exception& original) {
    ASSERT_EQ(typeid(copy), typeid(original));
    EXPECT_EQ(copy.place().file, original.place().file);
    EXPECT_EQ(copy.place().line, original.place().line);
    EXPECT_EQ(copy.message(), original.message());
    ASSERT_EQ(copy.detail() == nullptr, original.detail() == nullptr);
    if (const auto* detail = dynamic_cast<const Detail*>(original.detail())) {
        EXPECT_NE(copy.detail(), detail);
        EXPECT_EQ(static_cast<const Detail&>(*copy.detail()).value, detail->value);
    }
    if (const auto* carrier = dynamic_cast<const vek::CodeCarrier*>(&original)) {
        EXPECT_EQ(dynamic_cast<const vek::CodeCarrier&>(copy).code(), carrier->code());
    }
}

void ExpectTravels(const vek::Exception& original, const char* name) {
    EXPECT_STREQ(original.what(), name);
    ExpectSame(*original.Clone(), original);
    try {
        original.Rethrow();
    } catch (const vek::Exception& caught) {
        ExpectSame(caught, original);
    }
}

template <class T>
void ExpectPlainTravels(const char* name) {
    T original(kPlace, wide_string_t(u"message"), std::make_unique<Detail>(5));
    ExpectTravels(original, name);
    T assigned(SourceLocation::Here());
    ExpectSame(assigned = original, original);
}

TEST(Exception, KeepsTypeAndFieldsWhenClonedAndRethrown) {
    ExpectPlainTravels<vek::Exception>("Exception");
    ExpectPlainTravels<vek::CheckFailedException>("CheckFailedException");
    ExpectPlainTravels<vek::BadQueryInterfaceException>("BadQueryInterfaceException");
    ExpectPlainTravels<vek::contract::RequireViolation>("RequireViolation");
    ExpectPlainTravels<vek::contract::EnsureViolation>("EnsureViolation");
    ExpectPlainTravels<vek::contract::InvariantViolation>("InvariantViolation");
    ExpectPlainTravels<vek::datetime::TimeSystemError>("TimeSystemError");

    const vek::result_t code = vek::result::kNotFound;
    ExpectTravels(vek::ResultCodeException(kPlace, code), "ResultCodeException");
    ExpectTravels(vek::CheckResultFailedException(kPlace, code), "CheckResultFailedException");
    ExpectTravels(vek::CreateInstanceException(kPlace, code), "CreateInstanceException");
    ExpectTravels(vek::GetInterfaceException(kPlace, code), "GetInterfaceException");
    ExpectTravels(vek::SystemException(kPlace, code), "SystemException");
    ExpectTravels(HResultCodeException("a.cpp", 1, -2), "HResultCodeException");
}

TEST(Exception, HasADisplayTextThatEndsInABlank) {
    const vek::CheckFailedException plain(kPlace, wide_string_t(u"caf\u00E9"));
    EXPECT_EQ(vek::DisplayText(plain).view(),
              u"CheckFailedException - caf\u00E9. At vek/some/file.cpp(4294967295) ");
    EXPECT_EQ(vek::NarrowDisplayText(plain),
              "CheckFailedException - caf\xC3\xA9. At vek/some/file.cpp(4294967295) ");

    EXPECT_EQ(vek::NarrowDisplayText(vek::Exception({"f", 1})), "Exception - . At f(1) ");
    EXPECT_EQ(vek::NarrowDisplayText(vek::SystemException({"f", 1}, 0x80010102)),
              "SystemException - File not found. At f(1) ");
    EXPECT_EQ(vek::NarrowDisplayText(vek::Exception({"f", 1}, wide_string_t(1, 0xD800))),
              "<Exception display text conversion error>");
}

// Builds a text with each allocation failing in turn: it is empty until none fails.
template <class Build>
void ExpectEmptyWithoutMemory(Build build) {
    const auto whole = build();
    for (std::size_t failing = 1;; ++failing) {
        AllocationProbe probe(failing);
        const auto text = build();
        if (probe.count() < failing) {
            EXPECT_EQ(text, whole);
            EXPECT_GT(failing, 1u);
            return;
        }
        EXPECT_TRUE(text.empty()) << "allocation " << failing;
    }
}

TEST(Exception, HasAnEmptyDisplayTextWithoutMemory) {
    const vek::ResultCodeException exception(kPlace, vek::result::kInvalidArgument);
    ExpectEmptyWithoutMemory([&] { return vek::DisplayText(exception); });
    ExpectEmptyWithoutMemory([&] { return vek::NarrowDisplayText(exception); });
    try {
        throw std::runtime_error("longer than a short text that a string holds in itself");
    } catch (...) {
        ExpectEmptyWithoutMemory([] { return vek::CurrentExceptionText(); });
    }
}

TEST(Throw, CapturesThePlaceOfTheStatement) {
    const std::uint32_t first_line = __LINE__ + 2;
    const std::function<void()> statements[] = {
        [] { vek::ThrowResult(vek::result::kNotFound); },
        [] { vek::CheckResult(vek::result::kNotFound); },
        [] { vek::Check(false); },
        [] { plugins::helpers::CheckHResult(-1); },
    };
    for (std::uint32_t i = 0; i < std::size(statements); ++i) {
        try {
            statements[i]();
            ADD_FAILURE() << i;
        } catch (const vek::Exception& exception) {
            EXPECT_STREQ(exception.place().file, "tests/core/exception_test.cpp");
            EXPECT_EQ(exception.place().line, first_line + i);
        }
    }
    vek::CheckResult(vek::result::kFalse);
    vek::Check(true);
    plugins::helpers::CheckHResult(0x00040380);
}

TEST(CurrentException, BecomesAFailureAndAText) {
    namespace result = vek::result;
    struct Case {
        std::exception_ptr raised;
        vek::result_t result;
        std::string text;
    };
    const SourceLocation at{"f", 1};
    const Case cases[] = {
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
    for (const Case& c : cases) {
        try {
            std::rethrow_exception(c.raised);
        } catch (...) {
            EXPECT_EQ(vek::CurrentExceptionResult(), c.result) << c.text;
            EXPECT_EQ(vek::CurrentExceptionText(), c.text);
        }
    }
}

}  // namespace
