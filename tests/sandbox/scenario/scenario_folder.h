#pragma once

#include "mapi/property_tags.h"
#include "product/state/text_file.h"
#include "sandbox/demo/scenario/player.h"
#include "sandbox/outlook/message_file.h"
#include "tests/support/temporary_folder.h"

namespace sandbox::demo {

// What a scenario needs: two mails, "invoice" and "plain", and rules that change every mail.
class ScenarioFolder {
public:
    ScenarioFolder() {
        using outlook::PropertyValue;
        namespace tag = plugins::mapi::tag;
        outlook::MessageRecord mail;
        mail.properties.Set(tag::kMessageClassA, PropertyValue::Text("IPM.Note"));
        mail.properties.Set(tag::kSubjectA, PropertyValue::Text("The bill"));
        // Mail without one is not checked on read.
        mail.properties.Set(tag::kSenderNameA, PropertyValue::Text("Jo"));
        mail.properties.Set(tag::kBodyA, PropertyValue::Text("Pay it.\r\n"));
        outlook::SaveMessageFile(folder_.path() / "invoice.json", mail);
        mail.properties.Set(tag::kSubjectA, PropertyValue::Text("Hello"));
        outlook::PropertyBag attachment;
        attachment.Set(tag::kAttachMethod, PropertyValue::Long(ATTACH_BY_VALUE));
        attachment.Set(tag::kAttachLongFilenameA, PropertyValue::Text("a.txt"));
        attachment.Set(tag::kAttachDataBin, PropertyValue::Binary("content"));
        mail.AddAttachment(std::move(attachment));
        outlook::SaveMessageFile(folder_.path() / "plain.json", mail);
        reference_product::ReplaceTextFile(
            folder_.path() / "manifest.json",
            R"({"messages": [{"source": "mail/invoice.eml", "message": "invoice.json"},
                             {"source": "mail/plain.eml", "message": "plain.json"}]})");
        reference_product::ReplaceTextFile(folder_.path() / "test.rules",
                                           R"(when incoming any do set-subject "[in] {subject}"
when outgoing any do set-subject "[out] {subject}"
when attachment-name matches "*.txt" do rename-attachment "{name}.held"
)");
    }

    PlayerOptions options() const {
        return {folder_.path(), folder_.path() / "out", folder_.path() / "test.rules", {}};
    }

private:
    const tests::TemporaryFolder folder_;
};

}  // namespace sandbox::demo
