#include "model/header_summary.h"

#include "mapi/property_tags.h"

namespace plugins::mail_processing {
namespace {

const std::string* Text(PropertiesAccessor& message, ULONG tag) {
    return message.TryGetProperty<std::string>(tag);
}

void AppendIfPresent(std::string& out, const std::string* text) {
    if (text != nullptr) out += *text;
}

}  // namespace

std::string HeaderSummary(PropertiesAccessor& message) {
    std::string summary;
    const std::string* time = Text(message, mapi::tag::kProviderSubmitTime);
    if (time != nullptr) {
        summary += "[To:";
        summary += message.GetProperty<std::string>(mapi::tag::kDisplayToA);
    } else {
        summary += "[From:";
        const std::string* sender = nullptr;
        time = Text(message, mapi::tag::kClientSubmitTime);
        if (time != nullptr) {
            sender = Text(message, mapi::tag::kSenderNameA);
        } else {
            time = Text(message, mapi::tag::kLastModificationTime);
        }
        summary += sender != nullptr ? *sender : "None";
    }
    summary += "][Subject:";
    AppendIfPresent(summary, Text(message, mapi::tag::kSubjectA));
    summary += "][Time:";
    AppendIfPresent(summary, time);
    summary += "]";
    return summary;
}

std::string AddressLine(PropertiesAccessor& message, ULONG name_tag, ULONG type_tag,
                        ULONG address_tag) {
    std::string line = "\"";
    AppendIfPresent(line, Text(message, name_tag));
    line += "\" <";
    AppendIfPresent(line, Text(message, type_tag));
    line += ":";
    AppendIfPresent(line, Text(message, address_tag));
    line += ">";
    return line;
}

}  // namespace plugins::mail_processing
