#include "vek/remoting/sync_method_proxy.h"

#include <memory>
#include <optional>

#include "vek/remoting/call_priority.h"
#include "vek/remoting/call_steps.h"
#include "vek/trace/line.h"

namespace vek::remoting {

namespace level = trace::level;

namespace {

// One call on the side of its caller.
class ProxyCall final : public remote::Landing {
public:
    ProxyCall(Connection& connection, const CallTarget& target, ProxyArguments& arguments) noexcept
        : connection_(connection),
          target_(target),
          arguments_(arguments),
          steps_(connection.tracer(), target) {
        reply_.delivered = false;
        reply_.packet.set_landing(this);
    }

    result_t Run() noexcept {
        SendInputs();
        TakeOutputs();
        steps_.Run([this] { return arguments_.Commit(); });
        return steps_.result();
    }

    bool delivered() const noexcept { return reply_.delivered; }

    // remote::Landing
    std::span<std::byte> Find(bytes_t head, std::uint64_t size,
                              std::size_t& offset) noexcept override {
        serialization::Reader reader(head);
        const ReplyHeader header = ReadReplyHeader(reader);
        if (Failed(reader.result()) || Failed(header.delivery)) return {};
        const auto storage = arguments_.FindLanding(reader);
        offset = reader.consumed();
        if (storage.size() > size - offset) return {};
        landing_size_ = storage.size();
        return storage;
    }
    void Landed() noexcept override {
        landed_size_ = landing_size_;
        arguments_.OutputsLanded();
    }

private:
    bool with_flags() const noexcept { return connection_.registry().uses_null_flags(); }

    void SendInputs() noexcept {
        std::unique_ptr<serialization::Writer> priority;  // for the few that carry one
        serialization::Writer writer(kRoomForHeads);
        steps_.Run([this] {
            if (arguments_.output_interfaces() > 0) homecoming_.emplace(connection_.registry());
        });
        steps_.Run("VEK remoting, SyncMethodProxy5: Cannot marshal input arguments. errCode = ",
                   [this] { return arguments_.MarshalInputs(connection_); });
        const bool flags_follow = with_flags();
        steps_.Run(
            "VEK remoting, SyncMethodProxy5: Serialization of input arguments failed, errCode = ",
            [&] { arguments_.SerializeInputs(writer); });
        steps_.Run(
            "VEK remoting, SyncMethodProxy5: Cannot append a collection of null flags to the "
            "serialized in-arguments, errCode = ",
            [&] {
                if (!flags_follow) return;
                NullFlags flags;
                if (arguments_.input_interfaces() != 0) arguments_.CollectInputFlags(flags);
                flags.Serialize(writer);
            });
        steps_.Run([&] { AddPriority(priority); });
        steps_.Run("VEK remoting, SyncMethodProxy5: SendReceive failed, errCode = ", [&] {
            Rope request;
            if (priority) request.Append(*priority);
            request.Append(writer);
            return connection_.sender().DoSendReceiveWithRopes(target_, request, reply_);
        });
    }

    void AddPriority(std::unique_ptr<serialization::Writer>& writer) {
        if ((target_.attributes & method_attribute::kPriority) == 0) return;
        trace::Write(connection_.tracer(), level::kRemotingDetail,
                     "VEK remoting, SyncMethodProxy5: priority will be set for call");
        writer = std::make_unique<serialization::Writer>(kRoomForHeads);
        SerializeToRope(*writer, CurrentCallPriority());
    }

    void TakeOutputs() noexcept {
        bytes_t data = reply_.data;  // without the flags, once those are read
        NullFlags flags;
        const bool flags_follow = with_flags();
        steps_.Run([this] { return CheckReply(); });
        steps_.Run([this] {
            if (arguments_.input_interfaces() != 0) arguments_.InputsDelivered();
        });
        steps_.Run([this] { return CheckSize(); });
        steps_.Run(
            "VEK remoting, SyncMethodProxy5: Cannot append a collection of null flags to the "
            "serialized arguments. errCode = ",
            [&] {
                return flags_follow ? flags.TakeFromEnd(data, arguments_.output_interfaces())
                                    : result::kOk;
            });
        serialization::Reader reader(data);
        steps_.Run(
            "VEK remoting, SyncMethodProxy5: Failed to deserialize output arguments, errCode = ",
            [&] {
                arguments_.DeserializeOutputs(reader);
                if (Failed(reader.result()) || !flags_follow) return reader.result();
                if (arguments_.output_interfaces() == 0) return result::kOk;
                return arguments_.CheckOutputFlags(flags);
            });
        steps_.Run([&] { return CheckConsumed(reader.left()); });
        steps_.Run(
            "VEK remoting, SyncMethodProxy5: Failed to demarshal output arguments, errCode = ",
            [this] {
                if (arguments_.output_interfaces() == 0) return result::kOk;
                return arguments_.DemarshalOutputs(connection_);
            });
    }

    result_t CheckReply() const noexcept {
        if (reply_.has_data) return result::kOk;
        trace::WriteFailedStatement(connection_.tracer(),
                                    "reader.Assign(in, stream_ids::RequestData)",
                                    result::kInvalidSize);
        trace::Write(connection_.tracer(), level::kError,
                     "VEK remoting, SyncMethodProxy5: cannot process reply", target_);
        return result::kInvalidSize;
    }

    result_t CheckSize() const noexcept {
        if (!reply_.data.empty()) return result::kOk;
        trace::Write(connection_.tracer(), level::kError,
                     "VEK remoting, SyncMethodProxy5: Illegal reply size = 0", target_);
        return result::kInvalidSize;
    }

    result_t CheckConsumed(std::size_t left) const noexcept {
        if (left == 0) return result::kOk;
        const std::size_t size = reply_.data.size() + landed_size_;
        trace::Write(connection_.tracer(), level::kError,
                     "VEK remoting, SyncMethodProxy5: Deserialization of output arguments consumed",
                     size - left, " bytes, while reply size is ", size, " bytes", target_);
        return result::kInvalidSize;
    }

    Connection& connection_;
    const CallTarget& target_;
    ProxyArguments& arguments_;
    CallSteps steps_;
    Reply reply_;
    std::size_t landing_size_ = 0;  // of what goes to the caller's storage as it arrives
    std::size_t landed_size_ = 0;   // and has arrived
    std::optional<StubRegistry::ReplyToTake> homecoming_;  // of objects that the reply gives
};

}  // namespace

result_t SyncMethodProxy5(const StubAddress& address, const CallTarget& target,
                          ProxyArguments& arguments, bool& delivered) noexcept {
    ProxyCall call(*address.connection, target, arguments);
    const result_t result = call.Run();
    delivered = call.delivered();
    return result;
}

}  // namespace vek::remoting
