// Measures the mail object against the bytes that have to be moved: a notice against copying the
// bodies, the message hash against one digest.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <array>
#include <ctime>
#include <string>
#include <vector>

#include "bench/mailbox.h"
#include "bench/ratio.h"
#include "mapi/interface_ids.h"
#include "mapi/mapi_streams.h"
#include "mapi/property_tags.h"
#include "model/md5.h"

namespace {

using namespace plugins::mail_processing;
namespace outlook = sandbox::outlook;
namespace mapi = plugins::mapi;
using bench::Mailbox;

constexpr std::int64_t kMiB = 1 << 20;

// Freed memory is kept for the next run, of whatever size: it is copying that is measured, not how
// the kernel brings in pages.
const bool kKeepMemory = mallopt(M_MMAP_MAX, 0) == 1 && mallopt(M_TRIM_THRESHOLD, -1) == 1;

// This thread's processor time.
double Seconds() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

template <class Work>
double SecondsOf(Work&& work) {
    const double start = Seconds();
    work();
    return Seconds() - start;
}

constexpr outlook::StoreTraits kStore1252{.name = "plain-1252", .code_page = 1252};

// A plain and an HTML body of `size` bytes each.
outlook::MessageRecord WithBodies(std::size_t size) {
    constexpr std::string_view kEnd = "</body></html>\r\n";
    outlook::MessageRecord record;
    record.properties.Set(mapi::tag::kTransportMessageHeadersA,
                          outlook::PropertyValue::Text("Content-Type: text/html\r\n"));
    record.properties.Set(mapi::tag::kBodyA, outlook::PropertyValue::Text(std::string(size, 'x')));
    record.properties.Set(
        mapi::tag::kBodyHtmlA,
        outlook::PropertyValue::Text(std::string(size - kEnd.size(), 'x').append(kEnd)));
    return record;
}

// Copies of as many bodies, in memory of their own, as a changed body must be.
void CopyBodies(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    const std::vector<std::string> bodies(2 * static_cast<std::size_t>(state.range(1)),
                                          std::string(size, 'x'));
    for ([[maybe_unused]] const auto _ : state) {
        std::vector<std::string> copies;
        copies.reserve(bodies.size());
        state.SetIterationTime(SecondsOf([&] {
            for (const std::string& body : bodies) copies.push_back(body);
        }));
        benchmark::DoNotOptimize(copies.data());
    }
}

// Appends a notice to both bodies of some messages, up to their being saved. What comes before and
// after is outside of the time.
void AppendNotice(benchmark::State& state, const outlook::StoreTraits& store) {
    const auto size = static_cast<std::size_t>(state.range(0));
    std::vector<outlook::MessageRecord> records;
    for (std::int64_t i = 0; i < state.range(1); ++i) records.push_back(WithBodies(size));
    for ([[maybe_unused]] const auto _ : state) {
        Mailbox mailbox(store);
        std::vector<vek::RefPtr<MailMessageImpl>> mails;
        for (const auto& record : records) {
            mailbox.Add(record);
            mails.push_back(mailbox.Open(mails.size()));
        }
        state.SetIterationTime(SecondsOf([&] {
            for (auto& mail : mails) {
                std::uint32_t outcome = 1;
                mail->AppendNotice("Checked before you read it.", outcome);
                mail = nullptr;
            }
        }));
        for (std::size_t i = 0; i < mailbox.size(); ++i) {
            if (mailbox.SizeOf(i, mapi::tag::kBodyA) <= size ||
                mailbox.SizeOf(i, mapi::tag::kBodyHtmlA) <= size) {
                state.SkipWithError("there is no notice");
            }
        }
    }
}

std::string ReadAll(IMessage& message, ULONG tag) {
    vek::RefPtr<IUnknown> object;
    message.OpenProperty(tag, &mapi::iid::kStream, 0, 0, object.put());
    auto& stream = static_cast<IStream&>(*object);
    std::string bytes(static_cast<std::size_t>(mapi::Size(stream)), '\0');
    mapi::ReadFully(stream, std::as_writable_bytes(std::span(bytes)));
    return bytes;
}

// The least that a store must do where a notice could lose characters: it shows each body narrow
// and in full, takes it narrow, and saves.
void ReadAndWriteBodies(benchmark::State& state) {
    const outlook::MessageRecord record = WithBodies(static_cast<std::size_t>(state.range(0)));
    for ([[maybe_unused]] const auto _ : state) {
        Mailbox mailbox(kStore1252);
        mailbox.Add(record);
        const auto message = mailbox.OpenMessage();
        state.SetIterationTime(SecondsOf([&] {
            for (const auto& [narrow, full] :
                 {std::pair{mapi::tag::kBodyA, CHANGE_PROP_TYPE(mapi::tag::kBodyA, PT_UNICODE)},
                  {mapi::tag::kBodyHtmlA, mapi::tag::kHtml}}) {
                const std::string body = ReadAll(*message, narrow) + "!";
                benchmark::DoNotOptimize(ReadAll(*message, full));
                vek::RefPtr<IUnknown> object;
                message->OpenProperty(narrow, &mapi::iid::kStream, STGM_READWRITE, MAPI_MODIFY,
                                      object.put());
                auto& stream = static_cast<IStream&>(*object);
                mapi::SetSize(stream, 0);
                mapi::Write(stream, std::as_bytes(std::span(body)));
                stream.Commit(STGC_DEFAULT);
            }
            message->SaveChanges(KEEP_OPEN_READWRITE);
        }));
    }
}
BENCHMARK(ReadAndWriteBodies)->Args({kMiB})->UseManualTime();

// The size of a body and the number of messages. The many small ones are as far from the
// processor's caches as the large one is.
BENCHMARK(CopyBodies)->Args({4096, 1})->Args({kMiB, 1})->Args({64 * kMiB, 1})->UseManualTime();
BENCHMARK_CAPTURE(AppendNotice, utf8, outlook::kPlainStore)
    ->Args({4096, 1})
    ->Args({kMiB, 1})
    ->Args({kMiB, 64})
    ->Args({64 * kMiB, 1})
    ->UseManualTime();
// Where a code page may lack characters, the wide text is read before.
BENCHMARK_CAPTURE(AppendNotice, page1252, kStore1252)->Args({kMiB, 1})->UseManualTime();

// The tenth of a microsecond that a copy of 4 KiB takes is less than any of the calls does that a
// notice needs: two bodies to be opened twice, read, written and saved. This one keeps watch over
// what comes with every notice, however small the message.
const bench::Ratio kNotice4K("notice appended to bodies of 4 KiB, to copying them",
                             "AppendNotice/utf8/4096/1/manual_time",
                             "CopyBodies/4096/1/manual_time", 30.0);
const bench::Ratio kNotice1M("notice appended to bodies of 1 MiB, to copying them",
                             "AppendNotice/utf8/1048576/1/manual_time",
                             "CopyBodies/1048576/1/manual_time", 3.0);
const bench::Ratio kNotice64M("notice appended to bodies of 64 MiB, to copying them",
                              "AppendNotice/utf8/67108864/1/manual_time",
                              "CopyBodies/67108864/1/manual_time", 3.0);
const bench::Ratio kNoticeWide(
    "notice appended to bodies of 1 MiB in page 1252, to the store's part",
    "AppendNotice/page1252/1048576/1/manual_time", "ReadAndWriteBodies/1048576/manual_time", 1.5);
const bench::Ratio kNoticeLinear("notice, per byte: bodies of 64 MiB to bodies of 1 MiB",
                                 "AppendNotice/utf8/67108864/1/manual_time",
                                 "AppendNotice/utf8/1048576/64/manual_time", 2.0);

constexpr std::size_t kEntryIdSize = kMiB;
constexpr std::size_t kAttachments = 1000;

outlook::MessageRecord WithManyAttachments() {
    outlook::MessageRecord record;
    record.properties.Set(mapi::tag::kEntryId,
                          outlook::PropertyValue::Binary(std::string(kEntryIdSize, 'i')));
    for (std::size_t i = 0; i < kAttachments; ++i) {
        outlook::PropertyBag attachment;
        attachment.Set(mapi::tag::kAttachMethod, outlook::PropertyValue::Long(1));
        attachment.Set(mapi::tag::kAttachDataBin,
                       outlook::PropertyValue::Binary(std::string(100, 'a')));
        record.AddAttachment(std::move(attachment));
    }
    return record;
}

void OneDigest(benchmark::State& state) {
    // Entry id, PR_HASATTACH, and the size of each attachment.
    const std::vector<std::byte> facts(kEntryIdSize + 2 + 4 * kAttachments);
    for ([[maybe_unused]] const auto _ : state) benchmark::DoNotOptimize(Md5(facts));
}
BENCHMARK(OneDigest)->Unit(benchmark::kMicrosecond);

void MessageHash(benchmark::State& state) {
    Mailbox mailbox(WithManyAttachments());
    const auto mail = mailbox.Open();
    std::uint64_t hash = 0;
    for ([[maybe_unused]] const auto _ : state) {
        if (vek::Failed(mail->GetMessageHash(hash))) state.SkipWithError("there is no hash");
        benchmark::DoNotOptimize(hash);
    }
}
BENCHMARK(MessageHash)->Unit(benchmark::kMicrosecond);

const bench::Ratio kHash("hash of a message with 1000 attachments, to one MD5 of its facts",
                         "MessageHash", "OneDigest", 1.5);

}  // namespace
