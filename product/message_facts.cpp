#include "product/message_facts.h"

#include <algorithm>
#include <utility>

#include "product/foreign_text.h"
#include "product/rtf_text.h"

namespace reference_product {
namespace {

constexpr std::size_t kLongestName = 1024;  // bytes, as those that follow
constexpr std::size_t kLongestLabel = 200;
constexpr std::size_t kLongestVerdict = 200;

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
    deadline_ = std::chrono::steady_clock::now() + limits_.time;
    log_.Read({}, "GetHeaderSummary", message.GetHeaderSummary(facts.summary));
    GatherSenders(message, facts);
    const vek::result_t subject = message.GetSubject(facts.subject);
    log_.Read({}, "GetSubject", subject);
    facts.subject_known = vek::Succeeded(subject) || subject == vek::result::kPropertyNotFound;
    GatherHeaders(message, facts);
    GatherBodies(message, facts);
    GatherAttachments(message, facts);
    checks_.TakeAll();
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
    const auto is_there = [&](std::string_view label, std::string_view operation,
                              vek::result_t code) {
        const bool is_read = log_.Read({}, operation, code);
        if (!is_read && !IsMissing(code)) log_.NotChecked(label, "it cannot be opened");
        return is_read && body;
    };
    std::vector<std::string>& finds = facts.body_finds;
    if (is_there("plain body", "GetPlainBody", message.GetPlainBody(body.put())))
        facts.bodies.Add(Search(*body, "plain body", finds));
    if (is_there("HTML body", "GetHtmlBody", message.GetHtmlBody(body.put()))) {
        const std::uint64_t before = log_.bytes_read();
        facts.bodies.Add(Search(*body, "HTML body", finds));
        facts.has_html_body = log_.bytes_read() != before;
    }
    if (is_there("RTF body", "GetRichBody", message.GetRichBody(body.put())))
        facts.bodies.Add(SearchRichText(*body, "RTF body", finds));
}

void FactsGatherer::GatherAttachments(IMailMessage& message, MessageFacts& facts) {
    vek::RefPtr<IAttachmentsEnum> attachments;
    const vek::result_t code = message.GetAttachments(attachments.put());
    if (!log_.Read({}, "GetAttachments", code) || !attachments) {
        if (!IsMissing(code)) log_.NotChecked("all attachments", "they cannot be listed");
        return;
    }
    std::size_t failures = 0;
    for (std::size_t number = 1;; ++number) {
        const std::string label = "attachment " + std::to_string(number);
        const std::string rest = label + " and all behind it";
        if (failures == limits_.failures_in_a_row)
            return log_.NotChecked(rest, "too many before it cannot be opened");
        if (std::chrono::steady_clock::now() >= deadline_)
            return log_.NotChecked(rest, ContentReader::kTooLong);
        vek::RefPtr<IPropertyProvider> provider;
        bool found = false;
        const vek::result_t next = attachments->Next(provider.put(), found);
        if (log_.Read(label, "Next", next)) {
            if (!found || !provider) return;
            if (facts.attachments.size() == limits_.attachments)
                return log_.NotChecked(rest, "there are too many");
            failures = 0;
            facts.attachments.emplace_back().provider = std::move(provider);
            GatherAttachment(number, facts.attachments.back());
        } else if (next == vek::result::kNotImplemented) {
            return;
        } else if (next == vek::result::kNotSupported) {
            failures = 0;
        } else {
            log_.NotChecked(label, "it cannot be opened");
            ++failures;
        }
    }
}

void FactsGatherer::GatherAttachment(std::size_t number, AttachmentFacts& facts) {
    facts.label = "attachment " + std::to_string(number);
    std::string name;
    const auto add_name = [&] { facts.names.push_back(Middleless(std::move(name), kLongestName)); };
    if (log_.Read(facts.label, "GetFileName", facts.provider->GetFileName(name))) add_name();
    if (facts.names.empty() || rules_.Uses(Field::kAttachmentName)) {
        if (log_.Read(facts.label, "GetName", facts.provider->GetName(name))) add_name();
    }
    if (!facts.names.empty())
        facts.label += " \"" + Middleless(facts.names.front(), kLongestLabel) + '"';
    if (rules_.Uses(Field::kAttachmentType)) {
        log_.Read(facts.label, "GetMimeTag", facts.provider->GetMimeTag(facts.type));
        facts.type = Middleless(std::move(facts.type), kLongestName);
    }
    facts.hits = Search(*facts.provider, facts.label, facts.finds);
}

ContentHits FactsGatherer::Search(IPropertyProvider& provider, std::string_view label,
                                  std::vector<std::string>& finds) {
    ContentScan scan(search_);
    Read(provider, label, finds, [&](std::span<const std::byte> piece) { scan.Feed(piece); });
    ContentHits hits = scan.Hits();
    if (hits.infected) Report(std::string(kEicarFind), label, finds);
    return hits;
}

ContentHits FactsGatherer::SearchRichText(IPropertyProvider& provider, std::string_view label,
                                          std::vector<std::string>& finds) {
    // Both the markup and the text are searched: a mail reader shows malformed RTF as plain text.
    ContentScan written(search_);
    ContentScan shown(search_);
    RtfText filter;
    std::vector<std::byte> text;
    Read(provider, label, finds, [&](std::span<const std::byte> piece) {
        text.clear();
        filter.Feed(piece, text);
        written.Feed(piece);
        shown.Feed(text);
    });
    ContentHits hits = written.Hits();
    hits.Add(shown.Hits());
    if (hits.infected) Report(std::string(kEicarFind), label, finds);
    return hits;
}

// Reads a content once, for the `sink` and the engine. `finds` must stay where it is.
void FactsGatherer::Read(IPropertyProvider& provider, std::string_view label,
                         std::vector<std::string>& finds, const ContentReader::Sink& sink) {
    const auto feed = [&](std::span<const std::byte> piece) {
        sink(piece);
        checks_.Feed(piece);
    };
    const std::string_view why_not_all = reader_.Read(provider, label, feed, deadline_);
    const bool all = why_not_all.empty();
    if (!all) {
        log_.NotChecked(label, why_not_all);
        if (checks_.WantsMore()) return checks_.Drop();
    }
    checks_.Finish([this, all, label = std::string(label), &finds](const ContentVerdict& verdict) {
        const std::string text = InOneLine(Shortened(verdict.text, kLongestVerdict));
        if (verdict.kind == ContentVerdict::Kind::kFound) Report(text, label, finds);
        if (verdict.kind == ContentVerdict::Kind::kNotChecked && all) log_.NotChecked(label, text);
    });
}

void FactsGatherer::Report(std::string find, std::string_view label,
                           std::vector<std::string>& finds) {
    log_.Found(find + " in " + std::string(label));
    finds.push_back(std::move(find));
}

}  // namespace reference_product
