#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "model/mail_message_impl.h"
#include "sandbox/outlook/mapi_subsystem.h"
#include "vek/core/current_exception.h"

namespace bench {

namespace outlook = sandbox::outlook;
using plugins::mail_processing::MailMessageImpl;
using plugins::mail_processing::OwnerThread;

// The owner of a message that is worked with on one thread: calls are simply made.
class InlineOwner final : public OwnerThread {
public:
    vek::result_t Invoke(vek::FunctionRef<void()> call) override {
        try {
            call();
            return vek::result::kOk;
        } catch (...) {
            return vek::CurrentExceptionResult();
        }
    }
};

// A store with messages.
class Mailbox {
public:
    explicit Mailbox(outlook::MessageRecord record) { Add(std::move(record)); }
    explicit Mailbox(const outlook::StoreTraits& traits) : mapi_(traits) {}

    void Add(outlook::MessageRecord record) {
        entry_ids_.push_back(mapi_.store().Add(std::move(record)));
    }
    std::size_t size() const { return entry_ids_.size(); }

    vek::RefPtr<IMessage> OpenMessage(std::size_t index = 0) {
        return mapi_.OpenMessage(entry_ids_[index]);
    }

    vek::RefPtr<MailMessageImpl> Open(std::size_t index = 0, std::shared_ptr<OwnerThread> owner =
                                                                 std::make_shared<InlineOwner>()) {
        return vek::MakeObject<MailMessageImpl>(OpenMessage(index), nullptr, functions_, nullptr,
                                                std::move(owner), vek::platform::TheClock());
    }

    std::size_t SizeOf(std::size_t index, ULONG tag) {
        return mapi_.store().Find(entry_ids_[index])->properties.Find(tag)->Size();
    }

private:
    outlook::MapiSubsystem mapi_;
    const std::shared_ptr<const plugins::mapi::MapiFunctions> functions_ =
        std::make_shared<plugins::mapi::MapiFunctions>(outlook::MapiSubsystem::Functions());
    std::vector<std::string> entry_ids_;
};

}  // namespace bench
