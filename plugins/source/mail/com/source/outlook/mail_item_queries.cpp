#include "outlook/mail_item_queries.h"

#include <cmath>
#include <limits>

#include "internal/helpers/hresult_exception.h"
#include "vek/core/throw.h"
#include "vek/trace/line.h"

namespace plugins::mail_processing {
namespace {

namespace trace = vek::trace;

constexpr double kSecondsPerDay = 86'400;
constexpr double kHalfSecond = 0.5 / kSecondsPerDay;

// From 1 January 1601, where FILETIME begins, to 30 December 1899, where DATE does.
constexpr std::int64_t kSecondsBetweenEpochs = 109'205LL * 86'400;
constexpr std::uint64_t kUnitsPerSecond = 10'000'000;

constexpr std::int64_t kJustCreatedSeconds = 2;

}  // namespace

MailItemPtr GetMailItem(const ItemPtr& item, const trace::TracerPtr& tracer) {
    vek::Check(item != nullptr);
    MailItemPtr mail;
    const HRESULT result = item->GetMailItem(mail);
    if (result == E_NOINTERFACE) {
        trace::Write(tracer, trace::level::kDetail, "The item is no mail");
        return nullptr;
    }
    helpers::CheckGiven(result, mail);
    return mail;
}

std::u16string GetMessageEntryId(MailItem& mail, const trace::TracerPtr& tracer) {
    std::u16string entry_id;
    const HRESULT result = mail.GetEntryId(entry_id);
    if (SUCCEEDED(result)) return entry_id;
    trace::Write(tracer, trace::level::kError,
                 "GetMessageEntryId: get_EntryID failed, hr=", trace::Hex(result));
    return {};
}

bool IsMessageJustCreated(MailItem& mail, vek::platform::Clock& clock,
                          const trace::TracerPtr& tracer) {
    ole_date_t created = 0;
    helpers::CheckHResult(mail.GetCreationTime(created));
    const std::int64_t age = AgeInSeconds(created, LocalOleDate(clock));
    trace::Write(tracer, trace::level::kDetail, "Message exists ", age, " seconds");
    return age < kJustCreatedSeconds;
}

bool IsItemSaved(MailItem& mail, const trace::TracerPtr& tracer) noexcept {
    try {
        std::int16_t saved = 0;
        helpers::CheckHResult(mail.GetSaved(saved));
        return saved == kVariantTrue;
    } catch (...) {
        trace::WriteCurrentException(tracer);
        return false;
    }
}

ole_date_t LocalOleDate(vek::platform::Clock& clock) noexcept {
    const auto seconds = static_cast<std::int64_t>(clock.ToLocal(clock.UtcNow()) / kUnitsPerSecond);
    return static_cast<double>(seconds - kSecondsBetweenEpochs) / kSecondsPerDay;
}

std::int64_t AgeInSeconds(ole_date_t created, ole_date_t now) noexcept {
    using Limits = std::numeric_limits<std::int64_t>;
    const double days = now - created;
    const double seconds = (days + (days < 0 ? -kHalfSecond : kHalfSecond)) * kSecondsPerDay;
    if (std::abs(seconds) < 0x1p63) return static_cast<std::int64_t>(seconds);
    return seconds < 0 ? Limits::min() : Limits::max();
}

}  // namespace plugins::mail_processing
