#pragma once

// The exception family. Inside the process a failure is one of these; a border turns the current
// exception into a result code (border.h). The functions of throw.h raise them.

#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <utility>

#include "vek/core/basic_string.h"
#include "vek/core/result.h"
#include "vek/core/source_location.h"

namespace vek {

// A value that whoever raises an exception attaches to it. It is copied with the exception, never
// shared, and not shown in the display text.
class ExceptionDetail {
public:
    virtual ~ExceptionDetail() = default;
    virtual std::unique_ptr<ExceptionDetail> Clone() const = 0;
};

// The root of the family. Every concrete class is declared as ExceptionBase<Derived, Base>.
class Exception : public std::exception {
public:
    static constexpr const char* kClassName = "Exception";

    explicit Exception(SourceLocation location, wide_string_t message = {},
                       std::unique_ptr<ExceptionDetail> detail = nullptr) noexcept;
    Exception(const Exception& other);
    Exception& operator=(const Exception& other);
    Exception(Exception&&) noexcept = default;
    Exception& operator=(Exception&&) noexcept = default;
    ~Exception() override = default;

    // The class's own unqualified name, constant text.
    const char* what() const noexcept override { return kClassName; }

    // Says what went wrong, for the display text. Raises only for want of memory.
    virtual wide_string_t Description() const { return message_; }

    virtual std::unique_ptr<Exception> Clone() const { return std::make_unique<Exception>(*this); }
    [[noreturn]] virtual void Rethrow() const { throw *this; }

    const SourceLocation& location() const noexcept { return location_; }
    const wide_string_t& message() const noexcept { return message_; }
    const ExceptionDetail* detail() const noexcept { return detail_.get(); }

private:
    SourceLocation location_;
    std::uint32_t reserved_ = 0;
    wide_string_t message_;
    std::unique_ptr<ExceptionDetail> detail_;
};

// Supplies the class name, copying and re-throwing for Derived, which declares kClassName.
template <class Derived, class Base>
class ExceptionBase : public Base {
public:
    using Base::Base;

    const char* what() const noexcept override { return Derived::kClassName; }
    std::unique_ptr<Exception> Clone() const override { return std::make_unique<Derived>(self()); }
    [[noreturn]] void Rethrow() const override { throw Derived(self()); }

private:
    const Derived& self() const noexcept { return static_cast<const Derived&>(*this); }
};

// An exception that carries the code it is reported with: a result code or an HRESULT.
class CodeCarrier {
public:
    virtual std::uint32_t code() const noexcept = 0;

protected:
    ~CodeCarrier() = default;
};

// A failure that has a result code.
class ResultCodeException : public ExceptionBase<ResultCodeException, Exception>,
                            public CodeCarrier {
public:
    static constexpr const char* kClassName = "ResultCodeException";

    ResultCodeException(SourceLocation location, result_t code, wide_string_t message = {}) noexcept
        : ExceptionBase(location, std::move(message)), code_(code) {}

    // The text of the result code.
    wide_string_t Description() const override;

    result_t code() const noexcept override { return code_; }

private:
    result_t code_;
};

// A required condition does not hold.
class CheckFailedException : public ExceptionBase<CheckFailedException, Exception> {
public:
    static constexpr const char* kClassName = "CheckFailedException";
    using ExceptionBase::ExceptionBase;
};

// An object does not have an interface that it must have.
class BadQueryInterfaceException : public ExceptionBase<BadQueryInterfaceException, Exception> {
public:
    static constexpr const char* kClassName = "BadQueryInterfaceException";
    using ExceptionBase::ExceptionBase;
};

// A call returned a failure code where success was required.
class CheckResultFailedException
    : public ExceptionBase<CheckResultFailedException, ResultCodeException> {
public:
    static constexpr const char* kClassName = "CheckResultFailedException";
    using ExceptionBase::ExceptionBase;
};

// An object factory failed.
class CreateInstanceException : public ExceptionBase<CreateInstanceException, ResultCodeException> {
public:
    static constexpr const char* kClassName = "CreateInstanceException";
    using ExceptionBase::ExceptionBase;
};

// A service locator could not give the interface.
class GetInterfaceException : public ExceptionBase<GetInterfaceException, ResultCodeException> {
public:
    static constexpr const char* kClassName = "GetInterfaceException";
    using ExceptionBase::ExceptionBase;
};

// A platform call failed; the code is one of the platform facility.
class SystemException : public ExceptionBase<SystemException, ResultCodeException> {
public:
    static constexpr const char* kClassName = "SystemException";
    using ExceptionBase::ExceptionBase;
};

namespace contract {

// A caller broke a precondition.
class RequireViolation : public ExceptionBase<RequireViolation, Exception> {
public:
    static constexpr const char* kClassName = "RequireViolation";
    using ExceptionBase::ExceptionBase;
};

// A function broke its postcondition.
class EnsureViolation : public ExceptionBase<EnsureViolation, Exception> {
public:
    static constexpr const char* kClassName = "EnsureViolation";
    using ExceptionBase::ExceptionBase;
};

// An object broke its invariant.
class InvariantViolation : public ExceptionBase<InvariantViolation, Exception> {
public:
    static constexpr const char* kClassName = "InvariantViolation";
    using ExceptionBase::ExceptionBase;
};

}  // namespace contract

namespace datetime {

// A date or time could not be converted.
class TimeSystemError : public ExceptionBase<TimeSystemError, Exception> {
public:
    static constexpr const char* kClassName = "TimeSystemError";
    using ExceptionBase::ExceptionBase;
};

}  // namespace datetime

// Gives the text with which an exception is traced and reported: class name, " - ", description,
// ". At ", file, "(", line, ") ". Empty when there is no memory for it.
wide_string_t DisplayText(const Exception& exception) noexcept;

// Gives the display text in UTF-8; "<Exception display text conversion error>" when it cannot be
// converted.
std::string NarrowDisplayText(const Exception& exception) noexcept;

}  // namespace vek
