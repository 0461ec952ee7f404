#include "vek/remoting/invoke_abstracted_method.h"

#include <optional>

#include "vek/core/current_exception.h"
#include "vek/remoting/call_priority.h"
#include "vek/remoting/connection.h"
#include "vek/trace/line.h"

namespace vek::remoting {

using trace::Hex;
namespace level = trace::level;

namespace {

// One call's way through the steps. Each step gives a code and has traced its failure.
class StubCall {
public:
    StubCall(const Invocation& invocation, StubArguments& arguments) noexcept
        : invocation_(invocation),
          arguments_(arguments),
          tracer_(invocation.connection().tracer()),
          with_flags_(invocation.connection().registry().uses_null_flags()) {}

    result_t Run() noexcept {
        result_t result = TakeInputs();
        if (Failed(result)) return result;
        result = Invoke();
        if (Failed(result)) return result;
        return SendOutputs();
    }

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
            trace::Write(tracer_, level::kError, text, Hex(result), invocation_.target());
        }
        return result;
    }

    result_t TakePriority(serialization::Reader& reader) noexcept {
        trace::Write(tracer_, level::kRemotingDetail,
                     "VEK remoting, InvokeAbstractedMethod6: priority flag detected in method.");
        priority_.emplace(DeserializeFromRope(reader));
        if (Failed(reader.result())) {
            trace::Write(tracer_, level::kError,
                         "priority.DeserializeFromRope(reader) result = ", Hex(reader.result()));
            trace::Write(tracer_, level::kError,
                         "VEK remoting, InvokeAbstractedMethod6: cannot deserialize priority");
        }
        return reader.result();
    }

    result_t TakeInputs() noexcept {
        bytes_t data = invocation_.data();
        serialization::Reader head(data);
        result_t result = result::kOk;
        if ((invocation_.target().attributes & method_attribute::kPriority) != 0) {
            result = TakePriority(head);
            if (Failed(result)) return result;
            data = data.subspan(head.consumed());
        }
        NullFlags flags;
        if (with_flags_) {
            result = Take(
                "VEK remoting, InvokeAbstractedMethod6: Failed to read the array of null argument "
                "flags, errCode = ",
                [&] { return flags.TakeFromEnd(data, arguments_.InputInterfaces()); });
            if (Failed(result)) return result;
        }
        serialization::Reader reader(data);
        result = Take(
            "VEK remoting, InvokeAbstractedMethod6: Failed to deserialize input arguments, "
            "errCode = ",
            [&] {
                arguments_.DeserializeInputs(reader);
                if (Failed(reader.result()) || !with_flags_) return reader.result();
                return arguments_.CheckInputFlags(flags);
            });
        if (Failed(result)) return result;
        if (reader.left() != 0) {
            const std::size_t size = invocation_.data().size();
            trace::Write(tracer_, level::kError,
                         "VEK remoting, InvokeAbstractedMethod6: Deserialization of input "
                         "arguments consumed",
                         size - reader.left(), " bytes, while data size is ", size, " bytes");
            return result::kInvalidSize;
        }
        return Take(
            "VEK remoting, InvokeAbstractedMethod6: Failed to demarshal input arguments, "
            "errCode = ",
            [&] { return arguments_.DemarshalInputs(invocation_.connection()); });
    }

    result_t Invoke() noexcept {
        try {
            arguments_.Invoke();
            return result::kOk;
        } catch (...) {
            trace::Write(
                tracer_, level::kError,
                "VEK remoting, InvokeAbstractedMethod6: Invoked method has thrown an exception");
            trace::WriteCurrentException(tracer_);
            return CurrentExceptionResult();
        }
    }

    result_t SendOutputs() noexcept {
        serialization::Writer writer;
        result_t result = Take(
            "VEK remoting, InvokeAbstractedMethod6: Failed to marshal output arguments, errCode = ",
            [&] { return arguments_.MarshalOutputs(invocation_.connection()); });
        if (Failed(result)) return result;
        result = Take(
            "VEK remoting, InvokeAbstractedMethod6: Failed to serialize output arguments, "
            "errCode = ",
            [&] {
                arguments_.SerializeOutputs(writer);
                return result::kOk;
            });
        if (Failed(result)) return result;
        if (with_flags_) {
            result = Take(
                "VEK remoting, InvokeAbstractedMethod6: Failed to append a collection of null "
                "flags to the serialized out-arguments, errCode = ",
                [&] {
                    NullFlags flags;
                    arguments_.CollectOutputFlags(flags);
                    flags.Serialize(writer);
                    return result::kOk;
                });
            if (Failed(result)) return result;
        }
        try {
            Rope rope;
            rope.Append(writer.Pieces());
            result = invocation_.reply().Send(rope);
        } catch (...) {
            result = CurrentExceptionResult();
        }
        if (Succeeded(result)) arguments_.OutputsArrived();
        return result;
    }

    const Invocation& invocation_;
    StubArguments& arguments_;
    const trace::TracerPtr& tracer_;
    const bool with_flags_;
    std::optional<CallPriorityScope> priority_;
};

}  // namespace

void InvokeAbstractedMethod6(const Invocation& invocation, StubArguments& arguments) noexcept {
    const result_t result = StubCall(invocation, arguments).Run();
    if (Failed(result)) invocation.reply().Refuse(result);
}

}  // namespace vek::remoting
