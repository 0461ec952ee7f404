#include "sandbox/outlook/message_file.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "mapi/property_tags.h"
#include "sandbox/outlook/base64.h"
#include "vek/core/text.h"

namespace sandbox::outlook {
namespace {

using nlohmann::json;

// How deep messages are nested at most.
constexpr int kDeepest = 32;

// A place in the file, for error texts.
class Place {
public:
    explicit Place(std::string file) : file_(std::move(file)) {}

    Place operator/(std::string_view member) const {
        Place inner = *this;
        inner.path_.append("/").append(member);
        return inner;
    }
    Place operator/(std::size_t index) const { return *this / std::to_string(index); }

    [[noreturn]] void Fail(std::string_view expected) const {
        std::string text = file_ + ": ";
        if (!path_.empty()) text += path_ + ": ";
        throw std::runtime_error(text.append(expected));
    }

private:
    std::string file_;
    std::string path_;
};

ULONG ParseTag(const std::string& key, const Place& place) {
    ULONG tag = 0;
    const char* const end = key.data() + key.size();
    const auto parsed = std::from_chars(key.data(), end, tag, 16);
    if (key.size() != 8 || parsed.ec != std::errc() || parsed.ptr != end)
        place.Fail("a property tag is eight hexadecimal digits");
    return tag;
}

template <class Integer>
Integer ParseInteger(const json& value, const Place& place) {
    constexpr auto kLeast = std::numeric_limits<Integer>::min();
    constexpr auto kMax = std::numeric_limits<Integer>::max();
    if (value.is_number_unsigned()) {
        const auto number = value.get<std::uint64_t>();
        if (number <= static_cast<std::uint64_t>(kMax)) return static_cast<Integer>(number);
    } else if (value.is_number_integer()) {
        const auto number = value.get<std::int64_t>();
        if (number >= kLeast && number <= kMax) return static_cast<Integer>(number);
    }
    place.Fail("an integer of the property's range is expected");
}

Content ParseBytes(const json& value, const Place& place) {
    if (!value.is_string()) place.Fail("a base64 string is expected");
    auto bytes = DecodeBase64(value.get_ref<const std::string&>());
    if (!bytes) place.Fail("this is not base64");
    return std::make_shared<const std::string>(*std::move(bytes));
}

bool ParseBoolean(const json& value, const Place& place) {
    if (!value.is_boolean()) place.Fail("true or false is expected");
    return value.get<bool>();
}

PropertyValue ParseValue(ULONG tag, const json& value, const Place& place) {
    switch (PROP_TYPE(tag)) {
        case PT_STRING8:
        case PT_UNICODE:
            if (!value.is_string()) place.Fail("a string is expected");
            return PropertyValue::Text(value.get_ref<const std::string&>());
        case PT_BINARY:
            return PropertyValue::Binary(ParseBytes(value, place));
        case PT_LONG:
            return PropertyValue::Long(ParseInteger<std::int32_t>(value, place));
        case PT_CURRENCY:
            return PropertyValue::Currency(ParseInteger<std::int64_t>(value, place));
        case PT_BOOLEAN:
            return PropertyValue::Boolean(ParseBoolean(value, place));
        case PT_SYSTIME: {
            const auto time = ParseInteger<std::int64_t>(value, place);
            if (time < 0) place.Fail("a time is not negative");
            return PropertyValue::Time(time);
        }
        default:
            place.Fail("this property type is not supported");
    }
}

PropertyBag ParseProperties(const json& value, const Place& place) {
    if (!value.is_object()) place.Fail("an object of properties is expected");
    PropertyBag bag;
    for (const auto& [key, member] : value.items()) {
        const Place here = place / key;
        const ULONG tag = ParseTag(key, here);
        bag.Set(tag, ParseValue(tag, member, here));
    }
    return bag;
}

// The object with a member "properties", and no members besides the `others`.
const json& CheckObject(const json& value, std::initializer_list<std::string_view> others,
                        const Place& place) {
    if (!value.is_object()) place.Fail("an object is expected");
    for (const auto& [key, member] : value.items()) {
        if (key != "properties" && std::find(others.begin(), others.end(), key) == others.end())
            (place / key).Fail("this member is unknown");
    }
    const auto properties = value.find("properties");
    if (properties == value.end()) place.Fail("\"properties\" is missing");
    return *properties;
}

// The elements of the array `name`, which may be missing.
template <class Each>
void ForEach(const json& value, const char* name, const Place& place, Each&& each) {
    const auto array = value.find(name);
    if (array == value.end()) return;
    const Place here = place / name;
    if (!array->is_array()) here.Fail("an array is expected");
    for (std::size_t i = 0; i != array->size(); ++i) each((*array)[i], here / i);
}

// A storage's elements by name: text for a stream, an object for a storage.
std::shared_ptr<StorageNode> ParseStorage(const json& value, const Place& place, int depth) {
    if (!value.is_object()) place.Fail("an object of storage elements is expected");
    if (depth > kDeepestStorage) place.Fail("storages are nested too deeply");
    auto storage = std::make_shared<StorageNode>();
    for (const auto& [key, member] : value.items()) {
        const Place here = place / key;
        std::u16string name = vek::ToUtf16(key);
        if (!IsElementName(name)) here.Fail("this is no name of a storage element");
        auto& node = storage->inside[std::move(name)];
        if (member.is_string()) {
            node = std::make_shared<StorageNode>();
            node->bytes = ParseBytes(member, here);
        } else {
            node = ParseStorage(member, here, depth + 1);
        }
    }
    return storage;
}

MessageRecord ParseRecord(const json& value, const Place& place, int depth) {
    if (depth > kDeepest) place.Fail("messages are nested too deeply");
    MessageRecord message;
    message.properties =
        ParseProperties(CheckObject(value, {"recipients", "attachments", "addressBook"}, place),
                        place / "properties");
    ForEach(value, "recipients", place, [&](const json& recipient, const Place& here) {
        message.recipients.push_back(
            ParseProperties(CheckObject(recipient, {}, here), here / "properties"));
    });
    ForEach(value, "addressBook", place, [&](const json& entry, const Place& here) {
        message.address_book.push_back(
            ParseProperties(CheckObject(entry, {}, here), here / "properties"));
        if (message.address_book.back().Find(plugins::mapi::tag::kEntryId) == nullptr)
            here.Fail("an entry without 0FFF0102 cannot be found");
    });
    ForEach(value, "attachments", place, [&](const json& element, const Place& here) {
        AttachmentRecord& attachment = message.AddAttachment(ParseProperties(
            CheckObject(element, {"message", "binaryOnly", "storage"}, here), here / "properties"));
        const PropertyValue* const method =
            attachment.properties.Find(plugins::mapi::tag::kAttachMethod);
        const auto has_method = [&](ULONG wanted) {
            return method != nullptr && method->number() == static_cast<std::int64_t>(wanted);
        };
        const bool embedded = has_method(ATTACH_EMBEDDED_MSG);
        const auto inside = element.find("message");
        if (embedded != (inside != element.end()))
            here.Fail("\"message\" belongs to attachments of method 5, and only to them");
        if (embedded)
            attachment.message = std::make_shared<const MessageRecord>(
                ParseRecord(*inside, here / "message", depth + 1));
        const auto binary_only = element.find("binaryOnly");
        const auto storage = element.find("storage");
        if (binary_only == element.end() && storage == element.end()) return;
        if (!has_method(ATTACH_OLE))
            here.Fail("\"binaryOnly\" and \"storage\" belong to attachments of method 6");
        if (binary_only != element.end())
            attachment.binary_only = ParseBoolean(*binary_only, here / "binaryOnly");
        if (storage != element.end())
            attachment.storage = ParseStorage(*storage, here / "storage", 0);
    });
    return message;
}

std::string FormatTag(ULONG tag) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string text;
    for (int shift = 28; shift >= 0; shift -= 4) text.push_back(kDigits[tag >> shift & 0xF]);
    return text;
}

json FormatProperties(const PropertyBag& bag) {
    json object = json::object();
    for (const auto& [tag, value] : bag) {
        json& member = object[FormatTag(tag)];
        switch (value.type()) {
            case PT_UNICODE:
                member = *value.content();
                break;
            case PT_BINARY:
                member = EncodeBase64(*value.content());
                break;
            case PT_BOOLEAN:
                member = value.number() != 0;
                break;
            default:
                member = value.number();
        }
    }
    return object;
}

json FormatStorage(const StorageNode& storage) {
    json object = json::object();
    for (const auto& [name, node] : storage.inside)
        object[vek::ToUtf8(name)] =
            node->bytes ? json(EncodeBase64(*node->bytes)) : FormatStorage(*node);
    return object;
}

json FormatRecord(const MessageRecord& message) {
    json object = {{"properties", FormatProperties(message.properties)}};
    for (const PropertyBag& recipient : message.recipients)
        object["recipients"].push_back({{"properties", FormatProperties(recipient)}});
    for (const PropertyBag& entry : message.address_book)
        object["addressBook"].push_back({{"properties", FormatProperties(entry)}});
    for (const AttachmentRecord& attachment : message.attachments) {
        json element = {{"properties", FormatProperties(attachment.properties)}};
        if (attachment.message != nullptr) element["message"] = FormatRecord(*attachment.message);
        if (attachment.binary_only) element["binaryOnly"] = true;
        if (attachment.storage != nullptr) element["storage"] = FormatStorage(*attachment.storage);
        object["attachments"].push_back(std::move(element));
    }
    return object;
}

}  // namespace

MessageRecord ParseMessage(std::string_view text, const std::string& name) {
    json value;
    try {
        value = json::parse(text);
    } catch (const json::exception& error) {
        throw std::runtime_error(name + ": " + error.what());
    }
    return ParseRecord(value, Place(name), 0);
}

std::string FormatMessage(const MessageRecord& message) {
    return FormatRecord(message).dump(2, ' ', false, json::error_handler_t::replace) + "\n";
}

MessageRecord LoadMessageFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    if (!file || !(text << file.rdbuf()))
        throw std::runtime_error(path.string() + ": cannot be read");
    return ParseMessage(std::move(text).str(), path.string());
}

void SaveMessageFile(const std::filesystem::path& path, const MessageRecord& message) {
    const std::string text = FormatMessage(message);
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(text.data(), static_cast<std::streamsize>(text.size()));
    file.close();
    if (!file) throw std::runtime_error(path.string() + ": cannot be written");
}

}  // namespace sandbox::outlook
