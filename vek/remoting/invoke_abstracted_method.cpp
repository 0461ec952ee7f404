#include "vek/remoting/invoke_abstracted_method.h"

#include <optional>

#include "vek/remoting/call_priority.h"
#include "vek/remoting/call_steps.h"
#include "vek/remoting/connection.h"
#include "vek/trace/line.h"

namespace vek::remoting {

using trace::Hex;
namespace level = trace::level;

namespace {

// One call on the side of the object.
class StubCall {
public:
    StubCall(const Invocation& invocation, StubArguments& arguments) noexcept
        : invocation_(invocation),
          arguments_(arguments),
          tracer_(invocation.connection().tracer()),
          with_flags_(invocation.connection().registry().uses_null_flags()),
          steps_(tracer_, invocation.target()) {}

    result_t Run() noexcept {
        TakeInputs();
        steps_.Run([this] { Invoke(); });
        SendOutputs();
        return steps_.result();
    }

private:
    void TakeInputs() noexcept {
        bytes_t data = invocation_.data();  // without priority and flags, once those are read
        NullFlags flags;
        steps_.Run([&] { return TakePriority(data); });
        steps_.Run(
            "VEK remoting, InvokeAbstractedMethod6: Failed to read the array of null argument "
            "flags, errCode = ",
            [&] {
                return with_flags_ ? flags.TakeFromEnd(data, arguments_.input_interfaces())
                                   : result::kOk;
            });
        serialization::Reader reader(data);
        steps_.Run(
            "VEK remoting, InvokeAbstractedMethod6: Failed to deserialize input arguments, "
            "errCode = ",
            [&] {
                arguments_.DeserializeInputs(reader);
                if (Failed(reader.result()) || !with_flags_) return reader.result();
                if (arguments_.input_interfaces() == 0) return result::kOk;
                return arguments_.CheckInputFlags(flags);
            });
        steps_.Run([&] { return CheckConsumed(reader.left()); });
        steps_.Run(
            "VEK remoting, InvokeAbstractedMethod6: Failed to demarshal input arguments, "
            "errCode = ",
            [this] {
                if (!arguments_.has_interfaces()) return result::kOk;
                return arguments_.DemarshalInputs(invocation_.connection());
            });
    }

    // Takes the priority off the head of `data` and serves the rest of the call in its scope.
    result_t TakePriority(bytes_t& data) noexcept {
        if ((invocation_.target().attributes & method_attribute::kPriority) == 0) {
            return result::kOk;
        }
        trace::Write(tracer_, level::kRemotingDetail,
                     "VEK remoting, InvokeAbstractedMethod6: priority flag detected in method.");
        serialization::Reader reader(data);
        priority_.emplace(DeserializeFromRope(reader));
        if (Failed(reader.result())) {
            trace::WriteFailedStatement(tracer_, "priority.DeserializeFromRope(reader)",
                                        reader.result());
            trace::Write(tracer_, level::kError,
                         "VEK remoting, InvokeAbstractedMethod6: cannot deserialize priority");
        }
        data = data.subspan(reader.consumed());
        return reader.result();
    }

    result_t CheckConsumed(std::size_t left) const noexcept {
        if (left == 0) return result::kOk;
        const std::size_t size = invocation_.data().size();
        trace::Write(tracer_, level::kError,
                     "VEK remoting, InvokeAbstractedMethod6: Deserialization of input arguments "
                     "consumed",
                     size - left, " bytes, while data size is ", size, " bytes");
        return result::kInvalidSize;
    }

    void Invoke() {
        try {
            arguments_.Invoke();
        } catch (...) {
            trace::Write(
                tracer_, level::kError,
                "VEK remoting, InvokeAbstractedMethod6: Invoked method has thrown an exception");
            trace::WriteCurrentException(tracer_);
            throw;
        }
    }

    void SendOutputs() noexcept {
        serialization::Writer writer(kRoomForHeads);
        steps_.Run(
            "VEK remoting, InvokeAbstractedMethod6: Failed to marshal output arguments, errCode = ",
            [this] { return arguments_.MarshalOutputs(invocation_.connection()); });
        steps_.Run(
            "VEK remoting, InvokeAbstractedMethod6: Failed to serialize output arguments, "
            "errCode = ",
            [&] { arguments_.SerializeOutputs(writer); });
        steps_.Run(
            "VEK remoting, InvokeAbstractedMethod6: Failed to append a collection of null "
            "flags to the serialized out-arguments, errCode = ",
            [&] {
                if (!with_flags_) return;
                NullFlags flags;
                if (arguments_.output_interfaces() != 0) arguments_.CollectOutputFlags(flags);
                flags.Serialize(writer);
            });
        steps_.Run([&] {
            Rope rope;
            rope.Append(writer);
            return invocation_.reply().Send(rope);
        });
        steps_.Run([this] {
            if (arguments_.output_interfaces() != 0) arguments_.OutputsDelivered();
        });
    }

    const Invocation& invocation_;
    StubArguments& arguments_;
    const trace::TracerPtr& tracer_;
    const bool with_flags_;
    CallSteps steps_;
    std::optional<CallPriorityScope> priority_;
};

}  // namespace

void InvokeAbstractedMethod6(const Invocation& invocation, StubArguments& arguments) noexcept {
    const result_t result = StubCall(invocation, arguments).Run();
    if (Failed(result)) invocation.reply().Refuse(result);
}

}  // namespace vek::remoting
