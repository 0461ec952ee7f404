#include "product/message_facts.h"

#include <algorithm>
#include <utility>

#include "product/rtf_text.h"

namespace reference_product {
namespace {

// An enumerator that fails for one attachment goes on with the next. After so many failures in a
// row it is taken for broken.
constexpr int kMaxFailuresInARow = 64;

// Gives the address of "name" <type:address>, empty when the text has another form.
std::string_view AddressOf(std::string_view line) {
    const std::size_t open = line.rfind('<');
    if (open == line.npos || !line.ends_with('>')) return {};
    const std::string_view inside = line.substr(open + 1, line.size() - open - 2);
    const std::size_t colon = inside.find(':');
    return colon == inside.npos ? inside : inside.substr(colon + 1);
}

std::vector<std::string> UnfoldedLines(std::string_view headers) {
    std::vector<std::string> lines;
    while (!headers.empty()) {
        const std::size_t end = std::min(headers.find('\n'), headers.size());
        std::string_view line = headers.substr(0, end);
        headers.remove_prefix(std::min(end + 1, headers.size()));
        if (line.ends_with('\r')) line.remove_suffix(1);
        if (line.empty()) continue;
        const bool continues = line.front() == ' ' || line.front() == '\t';
        if (continues && !lines.empty()) {
            lines.back().append(line);
        } else {
            lines.emplace_back(line);
        }
    }
    return lines;
}

}  // namespace

MessageFacts FactsGatherer::Gather(IMailMessage& message) {
    MessageFacts facts;
    log_.Read({}, "GetHeaderSummary", message.GetHeaderSummary(facts.summary));
    GatherSenders(message, facts);
    const vek::result_t subject = message.GetSubject(facts.subject);
    log_.Read({}, "GetSubject", subject);
    facts.subject_known = vek::Succeeded(subject) || subject == vek::result::kPropertyNotFound;
    GatherHeaders(message, facts);
    GatherBodies(message, facts);
    GatherAttachments(message, facts);
    return facts;
}

void FactsGatherer::GatherSenders(IMailMessage& message, MessageFacts& facts) {
    const auto add = [&](std::string_view sender) {
        if (!sender.empty()) facts.senders.emplace_back(sender);
    };
    std::string line;
    if (log_.Read({}, "GetSender", message.GetSender(line))) {
        add(line);
        add(AddressOf(line));
    }
    if (!rules_.Uses(Field::kSender)) return;
    std::string address;
    if (log_.Read({}, "GetSenderSmtpAddress", message.GetSenderSmtpAddress(address))) add(address);
    std::string represented;
    if (log_.Read({}, "GetSentRepresenting", message.GetSentRepresenting(represented))) {
        add(represented);
        add(AddressOf(represented));
    }
}

void FactsGatherer::GatherHeaders(IMailMessage& message, MessageFacts& facts) {
    const auto adds_header = [](const Rule& rule) {
        return std::ranges::find(rule.actions, ActionKind::kAddHeader, &Action::kind) !=
               rule.actions.end();
    };
    if (!rules_.Uses(Field::kHeader) && std::ranges::none_of(rules_.rules, adds_header)) return;
    std::string headers;
    const vek::result_t code = message.GetTransportHeaders(headers);
    if (log_.Read({}, "GetTransportHeaders", code)) facts.header_lines = UnfoldedLines(headers);
    facts.headers_known = vek::Succeeded(code) || code == vek::result::kPropertyNotFound;
}

void FactsGatherer::GatherBodies(IMailMessage& message, MessageFacts& facts) {
    vek::RefPtr<IPropertyProvider> body;
    if (log_.Read({}, "GetPlainBody", message.GetPlainBody(body.put())) && body) {
        facts.bodies.Add(Search(*body, "plain body"));
    }
    if (log_.Read({}, "GetHtmlBody", message.GetHtmlBody(body.put())) && body) {
        const std::uint64_t before = log_.bytes_read();
        facts.bodies.Add(Search(*body, "HTML body"));
        facts.has_html_body = log_.bytes_read() != before;
    }
    if (log_.Read({}, "GetRichBody", message.GetRichBody(body.put())) && body) {
        facts.bodies.Add(SearchRichText(*body, "RTF body"));
    }
}

void FactsGatherer::GatherAttachments(IMailMessage& message, MessageFacts& facts) {
    vek::RefPtr<IAttachmentsEnum> attachments;
    if (!log_.Read({}, "GetAttachments", message.GetAttachments(attachments.put())) ||
        !attachments) {
        return;
    }
    int failures = 0;
    for (std::size_t number = 1; failures < kMaxFailuresInARow; ++number) {
        vek::RefPtr<IPropertyProvider> provider;
        bool found = false;
        const vek::result_t code = attachments->Next(provider.put(), found);
        if (!log_.Read("attachment " + std::to_string(number), "Next", code)) {
            if (code == vek::result::kNotImplemented) return;
            ++failures;
            continue;
        }
        if (!found || !provider) return;
        failures = 0;
        facts.attachments.push_back(GatherAttachment(std::move(provider), number));
    }
}

AttachmentFacts FactsGatherer::GatherAttachment(vek::RefPtr<IPropertyProvider> provider,
                                                std::size_t number) {
    AttachmentFacts facts;
    facts.provider = std::move(provider);
    facts.label = "attachment " + std::to_string(number);
    std::string name;
    if (log_.Read(facts.label, "GetFileName", facts.provider->GetFileName(name))) {
        facts.names.push_back(name);
    }
    if (facts.names.empty() || rules_.Uses(Field::kAttachmentName)) {
        if (log_.Read(facts.label, "GetName", facts.provider->GetName(name))) {
            facts.names.push_back(name);
        }
    }
    if (!facts.names.empty()) facts.label += " \"" + facts.names.front() + '"';
    if (rules_.Uses(Field::kAttachmentType)) {
        log_.Read(facts.label, "GetMimeTag", facts.provider->GetMimeTag(facts.type));
    }
    facts.hits = Search(*facts.provider, facts.label);
    return facts;
}

ContentHits FactsGatherer::Search(IPropertyProvider& provider, std::string_view label) {
    ContentScan scan(search_);
    reader_.Read(provider, label, [&](std::span<const std::byte> piece) { scan.Feed(piece); });
    ContentHits hits = scan.Hits();
    Report(hits, label);
    return hits;
}

ContentHits FactsGatherer::SearchRichText(IPropertyProvider& provider, std::string_view label) {
    // Both the markup and the text are searched: a mail reader shows malformed RTF as plain text.
    ContentScan written(search_);
    ContentScan shown(search_);
    RtfText filter;
    std::vector<std::byte> text;
    reader_.Read(provider, label, [&](std::span<const std::byte> piece) {
        text.clear();
        filter.Feed(piece, text);
        written.Feed(piece);
        shown.Feed(text);
    });
    ContentHits hits = written.Hits();
    hits.Add(shown.Hits());
    Report(hits, label);
    return hits;
}

void FactsGatherer::Report(const ContentHits& hits, std::string_view label) {
    if (hits.infected) log_.Found("EICAR test string in " + std::string(label));
}

}  // namespace reference_product
