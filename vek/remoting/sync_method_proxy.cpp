#include "vek/remoting/sync_method_proxy.h"

#include "vek/core/current_exception.h"
#include "vek/remoting/call_priority.h"
#include "vek/trace/line.h"

namespace vek::remoting {

using trace::Hex;
namespace level = trace::level;

namespace {

// One call's way through the steps. Each step gives a code and has traced its failure.
class ProxyCall {
public:
    ProxyCall(const Place& place, const CallTarget& target, ProxyArguments& arguments) noexcept
        : connection_(*place.connection), target_(target), arguments_(arguments) {}

    result_t Run() noexcept {
        result_t result = SendInputs();
        if (Failed(result)) return result;
        result = TakeOutputs();
        if (Failed(result)) return result;
        return arguments_.Commit();
    }

    bool delivered() const noexcept { return reply_.delivered; }

private:
    // Runs one step; its failure is traced under `text`.
    template <class Step>
    result_t Take(const char* text, Step step) noexcept {
        result_t result;
        try {
            result = step();
        } catch (...) {
            result = CurrentExceptionResult();
        }
        if (Failed(result)) {
            trace::Write(connection_.tracer(), level::kError, text, Hex(result), target_);
        }
        return result;
    }

    result_t SendInputs() noexcept {
        reply_.delivered = false;
        const bool with_flags = connection_.registry().uses_null_flags();
        serialization::Writer writer;
        result_t result =
            Take("VEK remoting, SyncMethodProxy5: Cannot marshal input arguments. errCode = ",
                 [this] { return arguments_.MarshalInputs(connection_); });
        if (Failed(result)) return result;
        result = Take(
            "VEK remoting, SyncMethodProxy5: Serialization of input arguments failed, errCode = ",
            [&] {
                arguments_.SerializeInputs(writer);
                return result::kOk;
            });
        if (Failed(result)) return result;
        if (with_flags) {
            result = Take(
                "VEK remoting, SyncMethodProxy5: Cannot append a collection of null flags to the "
                "serialized in-arguments, errCode = ",
                [&] {
                    NullFlags flags;
                    arguments_.CollectInputFlags(flags);
                    flags.Serialize(writer);
                    return result::kOk;
                });
            if (Failed(result)) return result;
        }
        serialization::Writer priority;
        const bool with_priority = (target_.attributes & method_attribute::kPriority) != 0;
        if (with_priority) {
            trace::Write(connection_.tracer(), level::kRemotingDetail,
                         "VEK remoting, SyncMethodProxy5: priority will be set for call");
        }
        result = Take("VEK remoting, SyncMethodProxy5: SendReceive failed, errCode = ", [&] {
            if (with_priority) SerializeToRope(priority, CurrentCallPriority());
            Rope request;
            request.Append(priority.Pieces());
            request.Append(writer.Pieces());
            return connection_.DoSendReceiveWithRopes(target_, request, reply_);
        });
        if (Succeeded(result)) arguments_.InputsArrived();
        return result;
    }

    result_t TakeOutputs() noexcept {
        if (reply_.data.empty()) {
            trace::Write(connection_.tracer(), level::kError,
                         "VEK remoting, SyncMethodProxy5: Illegal reply size = 0", target_);
            return result::kInvalidSize;
        }
        bytes_t data = reply_.data;
        NullFlags flags;
        const bool with_flags = connection_.registry().uses_null_flags();
        result_t result = result::kOk;
        if (with_flags) {
            result = Take(
                "VEK remoting, SyncMethodProxy5: Cannot append a collection of null flags to the "
                "serialized arguments. errCode = ",
                [&] { return flags.TakeFromEnd(data, arguments_.OutputInterfaces()); });
            if (Failed(result)) return result;
        }
        serialization::Reader reader(data);
        result = Take(
            "VEK remoting, SyncMethodProxy5: Failed to deserialize output arguments, errCode = ",
            [&] {
                arguments_.DeserializeOutputs(reader);
                if (Failed(reader.result()) || !with_flags) return reader.result();
                return arguments_.CheckOutputFlags(flags);
            });
        if (Failed(result)) return result;
        if (reader.left() != 0) {
            const std::size_t flag_size = reply_.data.size() - data.size();
            trace::Write(connection_.tracer(), level::kError,
                         "VEK remoting, SyncMethodProxy5: Deserialization of output arguments "
                         "consumed",
                         reader.consumed() + flag_size, " bytes, while reply size is ",
                         reply_.data.size(), " bytes", target_);
            return result::kInvalidSize;
        }
        return Take(
            "VEK remoting, SyncMethodProxy5: Failed to demarshal output arguments, errCode = ",
            [&] { return arguments_.DemarshalOutputs(connection_); });
    }

    Connection& connection_;
    const CallTarget& target_;
    ProxyArguments& arguments_;
    Reply reply_;
};

}  // namespace

result_t SyncMethodProxy5(const Place& place, const CallTarget& target, ProxyArguments& arguments,
                          bool& delivered) noexcept {
    ProxyCall call(place, target, arguments);
    const result_t result = call.Run();
    delivered = call.delivered();
    return result;
}

}  // namespace vek::remoting
