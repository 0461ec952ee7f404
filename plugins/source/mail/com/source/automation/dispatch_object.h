#pragma once

#include <atomic>
#include <initializer_list>
#include <utility>

#include "com/ole_values_win32.h"

namespace plugins::mail_processing::automation {

// A member of one kind of object, by name. Its number is asked for once in the process: it is the
// same for all objects of that kind. Any thread.
class Member {
public:
    constexpr explicit Member(const wchar_t* name) noexcept : name_(name) {}
    Member(const Member&) = delete;
    Member& operator=(const Member&) = delete;

    // Raises HResultCodeException when `object` does not know it.
    DISPID IdOn(IDispatch& object);

private:
    const wchar_t* const name_;
    std::atomic<DISPID> id_{DISPID_UNKNOWN};
};

// An automation object, called late. All of it raises HResultCodeException with the code of the
// call that failed; one that raised within the callee gives the code it was raised with. On the
// object's thread.
class DispatchObject {
public:
    explicit DispatchObject(vek::RefPtr<IDispatch> object) noexcept : object_(std::move(object)) {}

    com::OwnedVariant Get(Member& property) const;
    // `arguments` in the method's order.
    com::OwnedVariant Call(Member& method,
                           std::initializer_list<com::OwnedVariant> arguments = {}) const;

    // The object that a property or a method gives; may be none.
    DispatchObject ObjectOf(Member& property) const;
    DispatchObject ObjectFrom(Member& method,
                              std::initializer_list<com::OwnedVariant> arguments = {}) const;

    explicit operator bool() const noexcept { return static_cast<bool>(object_); }
    const vek::RefPtr<IDispatch>& pointer() const noexcept { return object_; }

private:
    com::OwnedVariant Invoke(Member& member, WORD kind,
                             std::initializer_list<com::OwnedVariant> arguments) const;

    vek::RefPtr<IDispatch> object_;
};

}  // namespace plugins::mail_processing::automation
