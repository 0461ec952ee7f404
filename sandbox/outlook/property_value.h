#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "mapi/mapi_interfaces.h"

namespace sandbox::outlook {

// The bytes of a text or a binary, shared by whoever has the value: opening and saving a message
// copies none of them.
using Content = std::shared_ptr<const std::string>;

// One property's value. A text is kept once, in UTF-8, and shown narrow or wide as it is asked
// for.
class PropertyValue {
public:
    static PropertyValue Text(std::string utf8) { return Text(Share(std::move(utf8))); }
    static PropertyValue Text(Content utf8) { return {PT_UNICODE, 0, std::move(utf8)}; }
    static PropertyValue Binary(std::string bytes) { return Binary(Share(std::move(bytes))); }
    static PropertyValue Binary(Content bytes) { return {PT_BINARY, 0, std::move(bytes)}; }
    static PropertyValue Long(std::int32_t value) { return {PT_LONG, value, nullptr}; }
    static PropertyValue Currency(std::int64_t value) { return {PT_CURRENCY, value, nullptr}; }
    static PropertyValue Boolean(bool value) { return {PT_BOOLEAN, value ? 1 : 0, nullptr}; }
    // In units of 100 ns since 1 January 1601 UTC.
    static PropertyValue Time(std::int64_t value) { return {PT_SYSTIME, value, nullptr}; }

    // PT_UNICODE for every text.
    ULONG type() const { return type_; }
    // Of a text or a binary, null otherwise.
    const Content& content() const { return content_; }
    // Of any other type, 0 otherwise.
    std::int64_t number() const { return number_; }

    // In bytes; 8 for other types than texts and binaries.
    std::size_t Size() const { return content_ ? content_->size() : sizeof number_; }

    friend bool operator==(const PropertyValue& a, const PropertyValue& b) {
        if (a.type_ != b.type_) return false;
        return a.content_ ? *a.content_ == *b.content_ : a.number_ == b.number_;
    }

private:
    PropertyValue(ULONG type, std::int64_t number, Content content)
        : type_(type), number_(number), content_(std::move(content)) {}

    static Content Share(std::string bytes) {
        return std::make_shared<const std::string>(std::move(bytes));
    }

    ULONG type_;
    std::int64_t number_;
    Content content_;
};

}  // namespace sandbox::outlook
