#include "sandbox/demo/scenario/damage.h"

#include <gmock/gmock.h>

#include "tests/sandbox/scenario/scenario_folder.h"

namespace sandbox::demo {
namespace {

namespace tag = plugins::mapi::tag;
using outlook::PropertyValue;

struct Change {
    const char* what;
    void (*make)(outlook::MessageRecord& record);
    int checks;
    bool damages;
};

TEST(Damage, IsWhatNoCheckDoes) {
    const ScenarioFolder folder;
    const auto subject = [](outlook::MessageRecord& record, const char* text) {
        record.properties.Set(tag::kSubjectA, PropertyValue::Text(text));
    };
    static const auto set_subject = subject;
    const Change changes[] = {
        {"nothing", [](auto&) {}, 1, false},
        {"a check", [](auto& record) { set_subject(record, "[in] Hello"); }, 1, false},
        {"two", [](auto& record) { set_subject(record, "[out] [in] Hello"); }, 2, false},
        {"two where there was one", [](auto& record) { set_subject(record, "[in] [in] Hello"); }, 1,
         true},
        {"a check where there was none", [](auto& record) { set_subject(record, "[in] Hello"); }, 0,
         true},
        {"another subject", [](auto& record) { set_subject(record, "Hell"); }, 2, true},
        {"no body", [](auto& record) { record.properties.Erase(tag::kBodyA); }, 1, true},
        {"no attachment", [](auto& record) { record.attachments.clear(); }, 1, true},
        {"another attachment",
         [](auto& record) {
             record.attachments[0].properties.Set(tag::kAttachDataBin,
                                                  PropertyValue::Binary("content?"));
         },
         1, true},
        {"one more", [](auto& record) { record.AddAttachment(record.attachments[0].properties); },
         1, true}};
    outlook::MapiSubsystem mapi;
    DamageFinder finder(mapi, folder.options().rules);
    MailShelf shelf(folder.options().messages);
    const outlook::MessageRecord& original = shelf.Find("plain.eml");
    int number = 0;
    for (const Change& change : changes) {
        outlook::MessageRecord now = original;
        change.make(now);
        // A name of its own: what more checks could do is not asked for earlier.
        EXPECT_EQ(finder.Find(std::to_string(++number), original, now, change.checks).empty(),
                  !change.damages)
            << change.what;
    }
    EXPECT_EQ(mapi.live_objects(), 0u);
}

}  // namespace
}  // namespace sandbox::demo
