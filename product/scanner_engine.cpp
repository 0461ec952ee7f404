#include "product/scanner_engine.h"

#include <algorithm>
#include <new>
#include <string>
#include <utility>

#include "product/action_runner.h"
#include "product/callback_log.h"
#include "product/foreign_text.h"
#include "product/message_facts.h"
#include "product/rule_match.h"
#include "vek/core/text.h"

namespace reference_product {
namespace {

constexpr std::size_t kLongestReported = 1024;  // bytes in a report

}  // namespace

ScannerEngine::ScannerEngine(RuleSet rules, EngineSource engine, GatherLimits limits)
    : rules_(std::move(rules)),
      search_(rules_.content_texts),
      engine_(std::move(engine)),
      limits_(limits) {}

std::shared_ptr<ContentEngine> ScannerEngine::EngineNow(const std::string& account,
                                                        std::string& trouble) const {
    try {
        return engine_ ? engine_(account) : nullptr;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& exception) {
        trouble = exception.what();
        return nullptr;
    }
}

std::optional<std::uint64_t> ScannerEngine::CleanVersion() const {
    std::string trouble;
    const std::shared_ptr<ContentEngine> engine = EngineNow({}, trouble);
    if (!trouble.empty()) return std::nullopt;
    if (!engine) return rules_.version;
    const std::uint64_t version = engine->State().version;
    if (version == 0) return std::nullopt;
    // Other rules with another engine are as unlikely to give the same as other rules alone.
    return rules_.version ^ (version * 0x9E3779B97F4A7C15);
}

ScanReport ScannerEngine::Check(bool incoming, plugins::mail_processing::IMailMessage& message,
                                const KeptFor& kept, const NoticeSource& texts) const {
    ScanReport report;
    report.incoming = incoming;
    CallbackLog log(report);
    ContentReader contents(log);
    std::string trouble;
    std::shared_ptr<ContentEngine> engine = EngineNow(kept.account, trouble);
    if (!trouble.empty()) log.NotChecked("all contents by the engine", trouble);
    MessageFacts facts =
        FactsGatherer(rules_, search_, std::move(engine), limits_, contents, log).Gather(message);
    report.subject = Shortened(vek::ToUtf8(facts.subject), kLongestReported);
    report.summary = Shortened(facts.summary, kLongestReported);
    report.infected = !facts.body_finds.empty() ||
                      std::ranges::any_of(facts.attachments, [](const AttachmentFacts& attachment) {
                          return !attachment.finds.empty();
                      });

    ActionRunner actions(message, facts, contents, log, kept, texts);
    const std::vector<RuleMatch> matches = MatchRules(rules_, incoming, facts);
    for (const RuleMatch& match : matches) {
        log.Found("the rule in line " + std::to_string(match.rule->line) + " applies");
        actions.Add(match);
    }
    actions.AddDefaults();
    actions.Run();
    return report;
}

}  // namespace reference_product
