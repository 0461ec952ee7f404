#pragma once

// The exception family. Inside, failure is one of these; borders turn the current exception into
// a result code (current_exception.h).
//
// Raise with the functions of throw.h, which take the place of the throwing statement.

#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <utility>

#include "vek/core/basic_string.h"
#include "vek/core/result.h"
#include "vek/core/source_location.h"

namespace vek {

// Whatever the raiser wants to travel with an exception. Copied with it, never shared, and not
// shown in the display text.
class ExceptionDetail {
public:
    virtual ~ExceptionDetail() = default;
    virtual std::unique_ptr<ExceptionDetail> Clone() const = 0;
};

// The root of the family. Every concrete class is declared as ExceptionBase<Derived, Base>.
class Exception : public std::exception {
public:
    static constexpr const char* kClassName = "Exception";

    explicit Exception(SourceLocation place, wide_string_t message = {},
                       std::unique_ptr<ExceptionDetail> detail = nullptr) noexcept;
    Exception(const Exception& other);
    Exception& operator=(const Exception& other);
    Exception(Exception&&) noexcept = default;
    Exception& operator=(Exception&&) noexcept = default;
    ~Exception() override = default;

    // The class's own unqualified name, constant text.
    const char* what() const noexcept override { return kClassName; }

    // What went wrong, for the display text. Raises only for want of memory.
    virtual wide_string_t Description() const { return message_; }

    virtual std::unique_ptr<Exception> Clone() const { return std::make_unique<Exception>(*this); }
    [[noreturn]] virtual void Rethrow() const { throw *this; }

    const SourceLocation& place() const noexcept { return place_; }
    const wide_string_t& message() const noexcept { return message_; }
    const ExceptionDetail* detail() const noexcept { return detail_.get(); }

private:
    SourceLocation place_;
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

// An exception that has a code of its own to be reported with: a result code or an HRESULT.
class CodeCarrier {
public:
    virtual std::uint32_t code() const noexcept = 0;

protected:
    ~CodeCarrier() = default;
};

class ResultCodeException : public ExceptionBase<ResultCodeException, Exception>,
                            public CodeCarrier {
public:
    static constexpr const char* kClassName = "ResultCodeException";

    ResultCodeException(SourceLocation place, result_t code, wide_string_t message = {}) noexcept
        : ExceptionBase(place, std::move(message)), code_(code) {}

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

class RequireViolation : public ExceptionBase<RequireViolation, Exception> {
public:
    static constexpr const char* kClassName = "RequireViolation";
    using ExceptionBase::ExceptionBase;
};

class EnsureViolation : public ExceptionBase<EnsureViolation, Exception> {
public:
    static constexpr const char* kClassName = "EnsureViolation";
    using ExceptionBase::ExceptionBase;
};

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

// The text an exception is traced and reported with: class name, " - ", description, ". At ",
// file, "(", line, ") ". Empty when there is no memory for it.
wide_string_t DisplayText(const Exception& exception) noexcept;

// The same in UTF-8; "<Exception display text conversion error>" when it cannot be converted.
std::string NarrowDisplayText(const Exception& exception) noexcept;

}  // namespace vek
