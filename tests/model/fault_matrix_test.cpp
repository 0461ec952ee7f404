// Every operation that a scanner can call, with each of its MAPI calls failing in turn, and with
// answers that no sound store gives: nothing may crash, hang or grow without bound on them.

#include "sandbox/outlook/compressed_rtf.h"
#include "tests/support/mail_fixture.h"

namespace plugins::mail_processing {
namespace {

using vek::RefPtr;
using vek::result_t;
namespace outlook = sandbox::outlook;
namespace result = vek::result;
namespace tag = mapi::tag;
using outlook::Distortion;
using outlook_call = outlook::Call;

// The mail that an operation works on, and the value that it gave.
struct Scan {
    static constexpr const char* kUntouched = "(untouched)";
    static constexpr std::uint32_t kRead = access_mode::kRead,
                                   kReadWrite = kRead | access_mode::kWrite;
    struct None {
        bool operator==(const None&) const = default;
    };

    RefPtr<IMailMessage> mail;
    std::function<void()> before;  // lets the disturbance begin
    std::function<bool()> after;   // whether the operation is to be tried once more
    std::string value = kUntouched;

    // Calls the operation; what prepared `object` was not disturbed.
    template <class Value = std::string, class Object, class Call>
    result_t On(const RefPtr<Object>& object, const Call& call) {
        result_t code = vek::result::kUnexpected;
        if (!object) return code;
        before();
        do {
            Value out{};
            code = call(*object, out);
            value = out == Value{} ? kUntouched : "(changed)";
            if (vek::Failed(code)) continue;
            value.clear();
            if constexpr (requires { out.get(); }) {
                value = out ? "object" : "null";
            } else if constexpr (!std::same_as<Value, None>) {
                vek::trace::AppendPiece(value, out);
            }
        } while (after());
        return code;
    }
    template <class Value = None, class Object, class Method, class... In>
    result_t Do(const RefPtr<Object>& object, Method method, const In&... in) {
        return On<Value>(object, [&](Object& it, Value& out) {
            if constexpr (std::same_as<Value, None>) {
                return (it.*method)(in...);
            } else if constexpr (requires { out.put(); }) {
                return (it.*method)(in..., out.put());
            } else {
                return (it.*method)(in..., out);
            }
        });
    }
    result_t Open(const RefPtr<IPropertyProvider>& provider, std::uint32_t access) {
        return Do<RefPtr<IDataStream>>(provider, &IPropertyProvider::OpenStream, access, 0u);
    }
    result_t ReadAll(const RefPtr<IPropertyProvider>& provider) {
        return On(provider, [](IPropertyProvider& it, std::string& out) {
            RefPtr<IDataStream> stream;
            std::string content;
            std::array<std::byte, 7> buffer;
            result_t code = it.OpenStream(kRead, 0, stream.put());
            for (std::uint32_t count = 7; count == 7 && content.size() < 5000;) {
                if (!vek::Failed(code)) code = stream->Read(buffer, count);
                if (vek::Failed(code)) return code;
                EXPECT_LE(count, buffer.size());
                content.append(reinterpret_cast<const char*>(buffer.data()), count);
            }
            return out = content, code;
        });
    }
    static result_t Write(IDataStream& stream, std::uint32_t& written) {
        return stream.Write(std::as_bytes(std::span("{\\rtf1 new text}", 16)), written);
    }
    // Opened anew when it is tried again: the stream of a failed commit must not come back.
    result_t Overwrite(const RefPtr<IPropertyProvider>& provider) {
        return On<None>(provider, [](IPropertyProvider& it, None&) {
            RefPtr<IDataStream> stream;
            std::uint32_t written = 0;
            result_t code = it.OpenStream(kReadWrite, 0, stream.put());
            if (!vek::Failed(code)) code = Write(*stream, written);
            return vek::Failed(code) ? code : stream->Commit();
        });
    }

    // The objects that operations work on; null where they cannot be had.
    RefPtr<IMailMessage> Mail() { return mail; }
    RefPtr<IPropertyProvider> Body() { return Made(&IMailMessage::GetPlainBody); }
    RefPtr<IPropertyProvider> Rich() { return Made(&IMailMessage::GetRichBody); }
    RefPtr<IAttachmentsEnum> Attachments() { return Made(&IMailMessage::GetAttachments); }
    RefPtr<IPropertyProvider> First() { return Attachment(1); }
    RefPtr<IPropertyProvider> Ole() { return Attachment(2); }
    RefPtr<IPropertyProvider> Storage() { return Attachment(3); }
    RefPtr<IDataStream> BodyStream() { return Stream(Body()); }
    RefPtr<IDataStream> RichStream() { return Stream(Rich()); }

private:
    template <class Out>
    RefPtr<Out> Made(result_t (IMailMessage::*make)(Out**) noexcept) {
        RefPtr<Out> out;
        (mail.get()->*make)(out.put());
        return out;
    }
    RefPtr<IPropertyProvider> Attachment(int count) {
        const auto attachments = Attachments();
        RefPtr<IPropertyProvider> attachment;
        bool found = false;
        for (; count > 0 && attachments; --count) attachments->Next(attachment.put(), found);
        return attachment;
    }
    static RefPtr<IDataStream> Stream(const RefPtr<IPropertyProvider>& provider) {
        RefPtr<IDataStream> stream;
        if (provider) provider->OpenStream(kReadWrite, 0, stream.put());
        return stream;
    }
};

template <class I>
Scan::None OutOf(result_t (I::*)() noexcept);
template <class I, class Value>
Value OutOf(result_t (I::*)(Value&) noexcept);
template <class I, class Object>
RefPtr<Object> OutOf(result_t (I::*)(Object**) noexcept);

// A method without arguments, of the mail or of one of its objects.
template <auto kMethod, auto kObject = &Scan::Mail>
result_t Of(Scan& s) {
    return s.Do<decltype(OutOf(kMethod))>((s.*kObject)(), kMethod);
}

template <int kCount>
result_t Next(Scan& s) {
    using Provider = RefPtr<IPropertyProvider>;
    return s.On<Provider>(s.Attachments(), [](IAttachmentsEnum& it, Provider& out) {
        bool found = false;
        result_t code = it.Reset();
        for (int i = 0; i < kCount && !vek::Failed(code); ++i) code = it.Next(out.put(), found);
        return code;
    });
}

// How a failing call shows. A code passes the border unless something else is promised.
enum class Rule {
    kPasses,
    kIfItOpens,  // what does not open as a stream is done without
    kStorage,    // so it is, but then a storage must open
    kBody,       // a body that cannot be opened is not found
    kAddress,    // an entry must have properties: a failed check
    kNotice,     // swallowed, once it is known that the notice may go in
    kKeepsOld,   // what was there is kept before, where that can be done
};

struct Operation {
    const char* name;
    const char* value;  // with an undisturbed message; null where that is tested elsewhere
    result_t (*run)(Scan&);
    Rule rule = Rule::kPasses;
    bool outlook::StoreTraits::*forbidden = nullptr;  // by a store with this trait
};

std::span<const Operation> Operations() {
    using enum Rule;
    using S = Scan;
    using M = IMailMessage;
    using P = IPropertyProvider;
    using E = IAttachmentsEnum;
    using D = IDataStream;
    using T = outlook::StoreTraits;
    using u32 = std::uint32_t;
    static constexpr Operation kAll[] = {
        {"GetHeaderSummary", "[From:Ann][Subject:Hello][Time:2024/03/05 09:07:02]",
         Of<&M::GetHeaderSummary>},
        {"GetMessageHash", nullptr, Of<&M::GetMessageHash>, kIfItOpens},
        {"GetSender", "\"Ann\" <SMTP:ann@example.com>", Of<&M::GetSender>},
        {"GetSmtpAddress", "ann@real.example.com", Of<&M::GetSenderSmtpAddress>, kAddress},
        {"GetSentRepresenting", "\"Boss\" <:>", Of<&M::GetSentRepresenting>},
        {"GetSenderName", "Ann", Of<&M::GetSenderName>},
        {"GetSentName", "Boss", Of<&M::GetSentRepresentingName>},
        {"GetToRecipients", "\"Bob\" <SMTP:bob@example.com>; \"Di\" <SMTP:bob@example.com>; ",
         Of<&M::GetToRecipients>},
        {"GetDisplayTo", "Bob", Of<&M::GetDisplayTo>},
        {"GetCcRecipients", "\"Cy\" <SMTP:bob@example.com>; ", Of<&M::GetCcRecipients>},
        {"GetDisplayCc", "Cy", Of<&M::GetDisplayCc>},
        {"GetSubject", "Hello", Of<&M::GetSubject>},
        {"GetTime", "2024/03/05 09:07:02", Of<&M::GetTime>},
        {"GetInternetMessageId", "<1@example.com>", Of<&M::GetInternetMessageId>},
        {"GetTransportHeaders", "A: b\r\nContent-Type: text/plain\r\n",
         Of<&M::GetTransportHeaders>},
        {"GetPlainBody", "object", Of<&M::GetPlainBody>, kBody},
        {"GetHtmlBody", "object", Of<&M::GetHtmlBody>, kBody},
        {"GetRichBody", "object", Of<&M::GetRichBody>, kBody},
        {"GetAttachments", "object", Of<&M::GetAttachments>},
        {"SetSubject", "", [](S& s) { return s.Do(s.mail, &M::SetSubject, u"new"); }},
        {"AppendNotice", "0", [](S& s) { return s.Do<u32>(s.mail, &M::AppendNotice, "Hey"); },
         kNotice},
        {"SetProperty", "", [](S& s) { return s.Do(s.mail, &M::SetProperty, 0x0C1A001Eu, "X"); }},
        {"SetHeader", "", [](S& s) { return s.Do(s.mail, &M::SetHeader, "A: new"); }, kKeepsOld},
        {"AddHeader", "", [](S& s) { return s.Do(s.mail, &M::AddHeader, "B: new"); }, kKeepsOld},
        {"body Delete", "", Of<&P::Delete, &S::Body>},
        {"body to read", "object", [](S& s) { return s.Open(s.Body(), S::kRead); }},
        {"body to write", "object", [](S& s) { return s.Open(s.Body(), S::kReadWrite); },
         kKeepsOld},
        {"rich to read", "object", [](S& s) { return s.Open(s.Rich(), S::kRead); }},
        {"rich to write", "object", [](S& s) { return s.Open(s.Rich(), S::kReadWrite); },
         kKeepsOld},
        {"body GetName", "PlainBody", Of<&P::GetName, &S::Body>},
        {"rich GetName", "RichBody", Of<&P::GetName, &S::Rich>},
        {"body GetFileName", S::kUntouched, Of<&P::GetFileName, &S::Body>},
        {"body GetMimeTag", S::kUntouched, Of<&P::GetMimeTag, &S::Body>},
        {"body GetSize", "0", Of<&P::GetSize, &S::Body>},
        {"body Rename", S::kUntouched, [](S& s) { return s.Do(s.Body(), &P::Rename, "x"); }},
        {"stream Read", "plain text", [](S& s) { return s.ReadAll(s.Body()); }, kKeepsOld},
        {"rich Read", "{\\rtf1 some old text}", [](S& s) { return s.ReadAll(s.Rich()); },
         kKeepsOld},
        {"stream Write", "16", [](S& s) { return s.On<u32>(s.BodyStream(), S::Write); }},
        {"stream Seek", "6",
         [](S& s) { return s.Do<std::uint64_t>(s.BodyStream(), &D::Seek, -4, SeekOrigin::kEnd); },
         kPasses, &T::streams_restart_only},
        {"stream GetSize", "10", Of<&D::GetSize, &S::BodyStream>},
        {"rich GetSize", "21", Of<&D::GetSize, &S::RichStream>, kPasses, &T::rtf_in_sequence},
        {"stream SetSize", "", [](S& s) { return s.Do(s.BodyStream(), &D::SetSize, 3u); },
         kKeepsOld, &T::streams_restart_only},
        {"body overwritten", "", [](S& s) { return s.Overwrite(s.Body()); }, kKeepsOld},
        {"rich overwritten", "", [](S& s) { return s.Overwrite(s.Rich()); }, kKeepsOld},
        {"Next", "object", Next<1>},
        {"Next, an OLE object", "object", Next<2>, kIfItOpens},
        {"Next, a storage", "object", Next<3>, kStorage},
        {"Next, at the end", "null", Next<4>, kStorage},
        {"Reset", "", Of<&E::Reset, &S::Attachments>},
        {"Find", "object",
         [](S& s) { return s.Do<RefPtr<P>>(s.Attachments(), &E::Find, u"Data"); }},
        {"file Delete", "", Of<&P::Delete, &S::First>},
        {"file to read", "object", [](S& s) { return s.Open(s.First(), S::kRead); }},
        {"OLE to write", "object", [](S& s) { return s.Open(s.Ole(), S::kReadWrite); }, kIfItOpens},
        {"storage Read", "content",
         [](S& s) {
             const result_t code = s.ReadAll(s.Storage());
             if (s.value.find("content") != s.value.npos) s.value = "content";
             return code;
         },
         kStorage},
        {"file GetName", "Data", Of<&P::GetName, &S::First>},
        {"file GetFileName", "data.txt", Of<&P::GetFileName, &S::First>},
        {"file GetMimeTag", "text/plain", Of<&P::GetMimeTag, &S::First>},
        {"file GetSize", "37", Of<&P::GetSize, &S::First>},
        {"file Rename", "", [](S& s) { return s.Do(s.First(), &P::Rename, "x"); }},
        {"file overwritten", "", [](S& s) { return s.Overwrite(s.First()); }, kKeepsOld},
    };
    return kAll;
}

// The disturbance while an operation runs.
struct Disturbance {
    std::uint32_t nth = 0;  // of the calls; 0 for none
    HRESULT code = S_OK;
    ULONG read_limit = 0;  // 0 for none
    bool again = false;    // whether the operation is tried once more after its failure
};

// The result of an operation.
struct Outcome {
    result_t code = result::kUnspecifiedError;
    std::string value;
    std::optional<outlook_call> failed;  // in the operation, not in what ends the check
    std::uint32_t calls = 0;             // of MAPI, until the check has ended
    bool changed = false;                // a call that changes the message has succeeded
    outlook::MessageRecord stored;
};

// Runs operations on one message through a whole check, with disturbances.
class FaultMatrixTest : public ContentFixture {
protected:
    FaultMatrixTest() {
        const std::pair<ULONG, const char*> texts[] = {
            {tag::kBodyHtmlA, "<html>text</html>"},
            {tag::kTransportMessageHeadersA, "A: b\r\nContent-Type: text/plain\r\n"},
            {tag::kDisplayToA, "Bob"},
            {tag::kDisplayCcA, "Cy"},
            {tag::kSentRepresentingNameA, "Boss"},
            {tag::kInternetMessageIdA, "<1@example.com>"}};
        for (const auto& [property, text] : texts) Set(property, text);
        Set(tag::kRtfCompressed, Binary(outlook::CompressRtf("{\\rtf1 some old text}")));
        Set(tag::kSenderEntryId, Value::Binary("ann"));
        Edit([](outlook::MessageRecord& record) {
            const std::pair<LONG, const char*> recipients[] = {{MAPI_TO, "Bob"},
                                                               {MAPI_CC, "Cy"},
                                                               {MAPI_TO, "without an address"},
                                                               {MAPI_TO, "Di"}};
            for (const auto& [type, name] : recipients) {
                outlook::PropertyBag& row =
                    record.recipients.emplace_back(Bag({{tag::kRecipientType, Value::Long(type)},
                                                        {tag::kDisplayNameA, Text(name)},
                                                        {tag::kAddrTypeA, Text("SMTP")}}));
                if (std::string_view(name).size() > 3) continue;
                row.Set(tag::kEmailAddressA, Text("bob@example.com"));
            }
            for (const ULONG method : {ULONG{ATTACH_BY_VALUE}, ULONG{ATTACH_OLE}})
                record.AddAttachment(
                    Bag({{tag::kAttachMethod, Value::Long(static_cast<LONG>(method))},
                         {tag::kAttachDataBin, Value::Binary("content")},
                         {tag::kDisplayNameA, Text("Data")},
                         {tag::kAttachFilenameA, Text("data.txt")},
                         {tag::kAttachMimeTagA, Text("text/plain")}}));
            auto storage = std::make_shared<outlook::StorageNode>();
            auto& stream = storage->inside[u"CONTENTS"] = std::make_shared<outlook::StorageNode>();
            stream->bytes = std::make_shared<const std::string>("content");
            record.AddAttachment(Bag({{tag::kAttachMethod, Value::Long(ATTACH_OLE)}})).storage =
                storage;
        });
        mapi_.store().PutUser("ann", Bag({{tag::kSmtpAddressA, Text("ann@real.example.com")}}));
        before_ = *mapi_.store().Find(entry_id_);
    }

    // How often the message was changed in a way that a save keeps.
    std::uint32_t Changes() {
        std::uint32_t changes = 0;
        const auto failed = mapi_.faults().Failed();
        for (const auto kind : {outlook_call::kSetProps, outlook_call::kDeleteProps,
                                outlook_call::kDeleteAttach, outlook_call::kStreamCommit}) {
            changes += Calls(kind);
            changes -= static_cast<std::uint32_t>(std::count(failed.begin(), failed.end(), kind));
        }
        return changes;
    }

    Outcome Run(const Operation& operation, const Disturbance& how = {}) {
        Outcome outcome;
        auto& faults = mapi_.faults();
        mapi_.store().Put(entry_id_, before_);
        std::uint32_t calls = 0, changes = 0;
        const std::size_t failures = faults.Failed().size();
        bool tried = false;
        OpenMail();
        Scan scan{mail_,
                  [&] {
                      calls = faults.Total();
                      changes = Changes();
                      if (how.nth != 0) faults.FailNthOfAll(how.nth, how.code);
                      if (how.read_limit != 0) faults.LimitReads(how.read_limit);
                  },
                  [&] {
                      if (std::exchange(tried, true)) return false;
                      outcome.changed = Changes() != changes;
                      if (faults.Failed().size() == failures) return false;
                      outcome.failed = faults.Failed().back();
                      return how.again;
                  }};
        outcome.code = operation.run(scan);
        outcome.value = scan.value;
        EXPECT_TRUE(!vek::Failed(outcome.code) || scan.value == Scan::kUntouched) << scan.value;
        scan.mail.reset();
        Close();
        faults.Clear();
        outcome.calls = faults.Total() - calls;
        outcome.stored = *mapi_.store().Find(entry_id_);
        EXPECT_EQ(mapi_.live_objects(), 0u);
        EXPECT_EQ(mapi_.memory().LiveBuffers(), 0u);
        EXPECT_EQ(mapi_.memory().BadFrees(), 0u);
        return outcome;
    }

    outlook::MessageRecord before_;
};

result_t Expected(Rule rule, outlook_call kind, HRESULT code) {
    if (rule == Rule::kBody) return result::kNotFound;
    if (rule == Rule::kIfItOpens && kind == outlook_call::kOpenProperty) return result::kOk;
    if (rule == Rule::kNotice && kind != outlook_call::kGetProps) return result::kOk;
    if (rule == Rule::kAddress && kind == outlook_call::kQueryInterface)
        return result::kUnknownException;
    return static_cast<result_t>(code);
}

bool Same(const outlook::MessageRecord& a, const outlook::MessageRecord& b) {
    return a.properties == b.properties &&
           std::equal(a.attachments.begin(), a.attachments.end(), b.attachments.begin(),
                      b.attachments.end(), [](const auto& x, const auto& y) {
                          return x.number == y.number && x.properties == y.properties;
                      });
}

TEST_F(FaultMatrixTest, EachFailureShowsAsPromisedAndLeavesEverythingInOrder) {
    std::uint32_t calls = 0;
    for (const Operation& operation : Operations()) {
        SCOPED_TRACE(operation.name);
        const Outcome whole = Run(operation);
        if (operation.forbidden != nullptr && tests::TheStore().*operation.forbidden) {
            EXPECT_TRUE(vek::Failed(whole.code));
            EXPECT_TRUE(Same(whole.stored, before_));
        } else if (operation.value != nullptr) {
            EXPECT_EQ(whole.value, operation.value);
        }
        const Outcome in_pieces = Run(operation, {.read_limit = 3});
        EXPECT_EQ(in_pieces.code, whole.code);
        EXPECT_EQ(in_pieces.value, whole.value);
        EXPECT_TRUE(Same(in_pieces.stored, whole.stored));
        calls += whole.calls;
        const bool notice = operation.rule == Rule::kNotice;
        // The HTML body has the notice, the plain one does not: trying again finds it there, and
        // leaves both as they are.
        outlook::MessageRecord half = before_;
        const auto* html = whole.stored.properties.Find(tag::kBodyHtmlA);
        half.properties.Set(tag::kBodyHtmlA, *html);
        for (std::uint32_t nth = 1; nth <= whole.calls; ++nth) {
            // It claims success and gives nothing: objects, rows, values are missing.
            Run(operation, {nth, static_cast<HRESULT>(MAPI_W_ERRORS_RETURNED), 0, true});
            for (const HRESULT code :
                 {E_FAIL, static_cast<HRESULT>(MAPI_E_NOT_FOUND),
                  static_cast<HRESULT>(MAPI_E_NO_ACCESS), static_cast<HRESULT>(E_OUTOFMEMORY)}) {
                SCOPED_TRACE(testing::Message() << "call " << nth << " code " << code);
                const Outcome once = Run(operation, {nth, code});
                // What it can do without makes no difference.
                const bool optional =
                    notice || operation.rule == Rule::kKeepsOld || operation.rule == Rule::kStorage;
                const bool without = once.failed && optional && once.code == whole.code;
                if (once.failed && !without) {
                    EXPECT_EQ(once.code, Expected(operation.rule, *once.failed, code))
                        << static_cast<int>(*once.failed);
                } else {  // it fails behind the operation
                    EXPECT_EQ(once.code, whole.code);
                    EXPECT_EQ(once.value, whole.value);
                }
                // What fails beside it, as keeping the old text does, leaves the notice whole.
                const bool is_old = Same(once.stored, before_);
                EXPECT_TRUE(notice ? is_old || Same(once.stored, half) ||
                                         Same(once.stored, whole.stored)
                                   : is_old || (once.changed && once.failed));

                if (without && !notice) continue;  // nothing to try again
                const Outcome again = Run(operation, {nth, code, 0, true});
                EXPECT_EQ(again.code, whole.code);
                EXPECT_EQ(again.value, whole.value);
                const bool stays_half = notice && again.changed;
                EXPECT_TRUE(!again.failed || Same(again.stored, stays_half ? half : whole.stored) ||
                            (notice && Same(again.stored, whole.stored)));
            }
        }
    }
    EXPECT_GT(calls, 150u) << "the operations do not reach MAPI";
}

constexpr ULONG kHuge = 0xFFFFFFFF;

void MakeWrong(SPropValue& value, ULONG type, ULONG bits) {
    value.ulPropTag = CHANGE_PROP_TYPE(value.ulPropTag, type);
    value.Value.cur.int64 = type == PT_SYSTIME ? -1 : 0;  // a time without end
    value.Value.bin.lpb = nullptr;
    value.Value.bin.cb = bits;
}

TEST_F(FaultMatrixTest, WrongAnswersDoNoHarm) {
    const auto every = [](ULONG type, ULONG bits) -> Distortion {
        return {[=](SPropValue* values, ULONG& count) {
                    for (ULONG i = 0; i != count; ++i) MakeWrong(values[i], type, bits);
                },
                [=](SRow& row) {
                    for (ULONG i = 0; i != row.cValues; ++i) MakeWrong(row.lpProps[i], type, bits);
                }};
    };
    const auto row = [](void (*change)(SRow&)) -> Distortion { return {{}, change}; };
    const auto size = [](std::uint64_t bytes) -> Distortion {
        return {{}, {}, [=](std::uint64_t& shown) { shown = bytes; }};
    };
    const auto reads = [](ULONG given, ULONG shown) -> Distortion {
        return {{}, {}, {}, [=](std::span<std::byte> buffer) -> std::optional<ULONG> {
                    if (buffer.size() > 60'000) return std::nullopt;  // not the subsystem's own
                    std::fill_n(buffer.begin(), std::min<std::size_t>(given, buffer.size()),
                                std::byte{'x'});
                    return shown;
                }};
    };
    Distortion endless = reads(3, 3);
    endless.stream_size = size(1ull << 40).stream_size;
    std::vector<std::pair<std::string, Distortion>> cases{
        {"no values", {[](SPropValue*, ULONG& count) { count = 0; }}},
        {"rows without columns", row([](SRow& given) { given.cValues = 0; })},
        {"other columns", row([](SRow& given) { given.lpProps[0].ulPropTag = 0; })},
        {"texts that are nowhere in a row", row([](SRow& given) {
             for (ULONG i = 1; i < given.cValues; ++i) given.lpProps[i].Value.lpszA = nullptr;
         })},
        {"rows that are nowhere",
         {{}, [&](SRow& given) { mapi_.memory().Free(std::exchange(given.lpProps, nullptr)); }}},
        {"streams that are endless", reads(kHuge, 3)},
        {"streams that are and seem endless", endless},
        {"reads of more than was asked for", reads(kHuge, kHuge)},
    };
    const auto add = [&](ULONG type, ULONG bits) {
        cases.emplace_back("type " + std::to_string(type), every(type, bits));
    };
    for (const SCODE code : {MAPI_E_NOT_ENOUGH_MEMORY, MAPI_E_NOT_FOUND})
        add(PT_ERROR, static_cast<ULONG>(code));
    // An error that is none, and values that are nowhere or were not asked for.
    for (const ULONG type : {PT_ERROR, PT_STRING8, PT_UNICODE, PT_BINARY, PT_CLSID}) add(type, 0);
    for (const ULONG type : {PT_BINARY, PT_LONG, PT_BOOLEAN, PT_SYSTIME, ULONG{0x101F}})
        add(type, kHuge);
    for (const std::uint64_t bytes : {0ull, 5ull, 5000ull, 1ull << 40})
        cases.emplace_back("size " + std::to_string(bytes), size(bytes));
    for (const auto& [name, distortion] : cases) {
        for (const Operation& operation : Operations()) {
            SCOPED_TRACE(testing::Message() << operation.name << ": " << name);
            mapi_.distortion() = distortion;
            const Outcome outcome = Run(operation);
            mapi_.distortion() = {};
            // The notice goes in whole or not at all.
            if (operation.rule != Rule::kNotice) continue;
            const auto* body = outcome.stored.properties.Find(tag::kBodyA);
            EXPECT_EQ(body->content()->substr(0, 10), "plain text");
        }
    }
}

}  // namespace
}  // namespace plugins::mail_processing
