#include "sandbox/outlook/message_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "mapi/property_tags.h"
#include "sandbox/outlook/base64.h"

namespace sandbox::outlook {
namespace {

namespace tag = plugins::mapi::tag;

constexpr const char* kMessage = R"({
  "properties": {"0037001F": "Gr\u00fc\u00dfe", "0c190102": "AP8=", "0E1B000B": true,
                 "00390040": 133541092220000000, "0E080003": -1, "60000006": -9000000000},
  "recipients": [{"properties": {"0C150003": 1, "3001001F": "Bob"}}],
  "attachments": [
    {"properties": {"37050003": 1, "37010102": "", "3707001F": "a.pdf"}},
    {"properties": {"37050003": 5}, "message": {"properties": {"0037001F": "inside"}}},
    {"properties": {"37050003": 6, "37010102": ""}, "binaryOnly": true},
    {"properties": {"37050003": 6}, "storage": {"\u0001Ole": "AQI=", "Pool": {"x": ""}}}],
  "addressBook": [{"properties": {"0FFF0102": "AQI=", "39FE001E": "bob@example.com"}}]
})";

TEST(MessageFile, IsReadAndWrittenBack) {
    const MessageRecord read = ParseMessage(kMessage, "mail.json");
    const MessageRecord again = ParseMessage(FormatMessage(read), "again");
    for (const MessageRecord& message : {read, again}) {
        PropertyBag expected;
        expected.Set(tag::kSubjectW, PropertyValue::Text("Gr\xC3\xBC\xC3\x9F"
                                                         "e"));
        expected.Set(tag::kSenderEntryId, PropertyValue::Binary(std::string("\0\xFF", 2)));
        expected.Set(tag::kHasAttach, PropertyValue::Boolean(true));
        expected.Set(tag::kClientSubmitTime, PropertyValue::Time(133541092220000000));
        expected.Set(0x0E080003, PropertyValue::Long(-1));
        expected.Set(0x60000006, PropertyValue::Currency(-9000000000));
        EXPECT_EQ(message.properties, expected);
        ASSERT_EQ(message.recipients.size(), 1u);
        EXPECT_EQ(*message.recipients[0].Find(tag::kDisplayNameA)->content(), "Bob");
        ASSERT_EQ(message.address_book.size(), 1u);
        EXPECT_EQ(*message.address_book[0].Find(tag::kEntryId)->content(), "\1\2");
        EXPECT_EQ(*message.address_book[0].Find(tag::kSmtpAddressA)->content(), "bob@example.com");
        ASSERT_EQ(message.attachments.size(), 4u);
        EXPECT_EQ(message.attachments[0].properties.Find(tag::kAttachDataBin)->Size(), 0u);
        EXPECT_EQ(message.attachments[1].number, 1u);
        ASSERT_NE(message.attachments[1].message, nullptr);
        EXPECT_EQ(*message.attachments[1].message->properties.Find(tag::kSubjectW)->content(),
                  "inside");
        EXPECT_TRUE(message.attachments[2].binary_only);
        const auto& storage = message.attachments[3].storage;
        ASSERT_NE(storage, nullptr);
        EXPECT_EQ(*storage->inside.at(u"\1Ole")->bytes, "\1\2");
        EXPECT_EQ(*storage->inside.at(u"Pool")->inside.at(u"x")->bytes, "");
        EXPECT_EQ(message.next_number, 4u);
    }
    EXPECT_EQ(FormatMessage(again), FormatMessage(read));
}

TEST(MessageFile, BytesThatAreNoTextAreReplaced) {
    MessageRecord message;
    message.properties.Set(tag::kBodyA, PropertyValue::Text("a\xFF"
                                                            "b"));
    const MessageRecord read = ParseMessage(FormatMessage(message), "written");
    EXPECT_EQ(*read.properties.Find(tag::kBodyA)->content(),
              "a\xEF\xBF\xBD"
              "b");
}

// A message inside a message, `depth` times.
std::string Nested(int depth) {
    std::string text = R"({"properties":{}})";
    for (int i = 0; i != depth; ++i)
        text = R"({"properties":{},"attachments":[{"properties":{"37050003":5},"message":)" + text +
               "}]}";
    return text;
}

// An OLE attachment's storage, and storages inside one, `depth` of them.
std::string Stored(const std::string& storage) {
    return R"({"properties":{},"attachments":[{"properties":{"37050003":6},"storage":)" + storage +
           "}]}";
}

std::string Pools(int depth) {
    std::string text = "{}";
    for (int i = 0; i != depth; ++i) text = R"({"Pool":)" + text + "}";
    return text;
}

TEST(MessageFile, SaysWhatIsWrongAndWhere) {
    const std::pair<std::string, std::string> cases[] = {
        {"", "mail.json: [json.exception.parse_error"},
        {R"({"properties": {}} x)", "mail.json: [json.exception.parse_error"},
        {"{\"properties\": {\"0037001F\": \"\xFF\"}}", "mail.json: [json.exception.parse_error"},
        {std::string(100000, '['), "mail.json: [json.exception.parse_error"},
        {std::string(100000, '[') + std::string(100000, ']'), "mail.json: an object"},
        {"7", "mail.json: an object is expected"},
        {"{}", "\"properties\" is missing"},
        {R"({"properties": {}, "subject": ""})", "/subject: this member is unknown"},
        {R"({"properties": []})", "/properties: an object of properties"},
        {R"({"properties": {"37001F": ""}})", "mail.json: /properties/37001F: a property tag"},
        {R"({"properties": {"0x37001F": ""}})", "a property tag"},
        {R"({"properties": {"0037000D": ""}})", "0037000D: this property type"},
        {R"({"properties": {"0037001F": 1}})", "a string is expected"},
        {R"({"properties": {"0C190102": "AA="}})", "0C190102: this is not base64"},
        {R"({"properties": {"0E1B000B": 1}})", "true or false"},
        {R"({"properties": {"0E080003": 2147483648}})", "an integer of the property's range"},
        {R"({"properties": {"0E080003": 1.5}})", "an integer of the property's range"},
        {R"({"properties": {"00390040": -1}})", "a time is not negative"},
        {R"({"properties": {"00390040": 9223372036854775808}})", "an integer"},
        {R"({"properties": {}, "recipients": {}})", "/recipients: an array is expected"},
        {R"({"properties": {}, "addressBook": [{"properties": {}}]})", "/addressBook/0: an entry"},
        {R"({"properties": {}, "attachments": [{"properties": {"37050003": 5}}]})",
         "/attachments/0: \"message\" belongs"},
        {R"({"properties": {}, "attachments": [{"properties": {}, "message": {}}]})",
         "/attachments/0: \"message\" belongs"},
        {R"({"properties": {}, "attachments": [{"properties": {}, "storage": {}}]})",
         "/attachments/0: \"binaryOnly\" and \"storage\" belong"},
        {Stored("7"), "storage: an object of storage elements"},
        {Stored(R"({"a/b": ""})"), "storage/a/b: this is no name"},
        {Stored(R"({"a": "?"})"), "storage/a: this is not base64"},
        {Stored(Pools(33)), "storages are nested too deeply"},
        {Nested(33), "messages are nested too deeply"},
    };
    for (const auto& [text, expected] : cases) {
        try {
            ParseMessage(text, "mail.json");
            ADD_FAILURE() << "accepted: " << text.substr(0, 100);
        } catch (const std::runtime_error& error) {
            EXPECT_THAT(error.what(), ::testing::StartsWith("mail.json: "));
            EXPECT_THAT(error.what(), ::testing::HasSubstr(expected));
        }
    }
    for (const std::string& deepest : {Nested(32), Stored(Pools(32))})
        EXPECT_NO_THROW(ParseMessage(deepest, "mail.json"));
}

TEST(MessageFile, IsKeptInAFile) {
    const auto path = std::filesystem::temp_directory_path() / "mlxo_message_file_test.json";
    const MessageRecord message = ParseMessage(kMessage, "");
    SaveMessageFile(path, message);
    EXPECT_EQ(FormatMessage(LoadMessageFile(path)), FormatMessage(message));
    std::filesystem::remove(path);
    EXPECT_THROW(LoadMessageFile(path), std::runtime_error);
    EXPECT_THROW(SaveMessageFile(path / "below", message), std::runtime_error);
}

TEST(Base64, IsStrict) {
    const std::string bytes(
        "\0\x01\xFE\xFF"
        "x",
        5);
    for (std::size_t size = 0; size <= bytes.size(); ++size)
        EXPECT_EQ(DecodeBase64(EncodeBase64(bytes.substr(0, size))), bytes.substr(0, size));
    EXPECT_EQ(EncodeBase64("foobar"), "Zm9vYmFy");
    EXPECT_EQ(EncodeBase64("foob"), "Zm9vYg==");
    for (const char* bad : {"A", "AA", "A===", "====", "AA=A", "A A=", "AB==", "AAB=", "AA\n="})
        EXPECT_EQ(DecodeBase64(bad), std::nullopt) << bad;
}

}  // namespace
}  // namespace sandbox::outlook
