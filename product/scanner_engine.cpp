#include "product/scanner_engine.h"

#include <algorithm>
#include <utility>

#include "product/action_runner.h"
#include "product/callback_log.h"
#include "product/message_facts.h"
#include "product/rule_match.h"

namespace reference_product {
namespace {

bool IsInfected(const MessageFacts& facts) {
    return facts.bodies.infected ||
           std::ranges::any_of(facts.attachments, [](const AttachmentFacts& attachment) {
               return attachment.hits.infected;
           });
}

}  // namespace

ScannerEngine::ScannerEngine(RuleSet rules)
    : rules_(std::move(rules)), search_(rules_.content_texts) {}

ScanReport ScannerEngine::Check(bool incoming, plugins::mail_processing::IMailMessage& message,
                                const KeptFor& kept) const {
    ScanReport report;
    report.incoming = incoming;
    CallbackLog log(report);
    ContentReader contents(log);
    MessageFacts facts = FactsGatherer(rules_, search_, contents, log).Gather(message);
    report.summary = facts.summary;
    report.infected = IsInfected(facts);

    ActionRunner actions(message, facts, contents, log, kept);
    const std::vector<RuleMatch> matches = MatchRules(rules_, incoming, facts);
    for (const RuleMatch& match : matches) {
        log.Found("the rule in line " + std::to_string(match.rule->line) + " applies");
        actions.Add(match);
    }
    if (report.infected) actions.AddInfection();
    actions.Run();
    return report;
}

}  // namespace reference_product
