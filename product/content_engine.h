#pragma once

// What the scanner asks of an engine that looks into the contents of mail, beside the rules.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace reference_product {

// What an engine has found out about one content.
struct ContentVerdict {
    enum class Kind { kClean, kFound, kNotChecked };

    Kind kind = Kind::kNotChecked;
    std::string text;  // UTF-8: the name of what was found, or why the content was not checked
};

// One content on its way through an engine. It is fed in pieces and ended; one that goes before is
// forgotten by the engine. For one thread. Raises only for want of memory.
class ContentCheck {
public:
    virtual ~ContentCheck() = default;

    // False when the verdict needs no more of the content.
    virtual bool Feed(std::span<const std::byte> piece) = 0;
    // No more comes. Does not wait for the verdict.
    virtual void Finish() = 0;
    // After Finish, once: waits for the verdict, within the limits of the content and its mail.
    virtual ContentVerdict Verdict() = 0;
};

// The contents of one message, which share its time limit. For one thread.
class MailContents {
public:
    virtual ~MailContents() = default;

    // Begins a content, which must not outlive this. Several may be under way at once.
    virtual std::unique_ptr<ContentCheck> Begin() = 0;
};

// What people and the memory of clean messages are told about an engine.
struct EngineState {
    std::string name;           // "ClamAV 1.4.6"; may be empty while nobody has answered
    std::string signatures;     // their version and date; likewise
    std::string trouble;        // why it cannot check; empty when it can
    std::uint64_t version = 0;  // another one whenever it might find something else
};

// An engine. Any thread may call it, several at once.
class ContentEngine {
public:
    virtual ~ContentEngine() = default;

    virtual std::unique_ptr<MailContents> BeginMail() = 0;
    // What was learnt last; waits for nobody.
    virtual EngineState State() const = 0;
};

}  // namespace reference_product
