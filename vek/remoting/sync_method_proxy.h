#pragma once

#include "vek/remoting/connection.h"
#include "vek/remoting/null_flags.h"
#include "vek/remoting/remote_object.h"

namespace vek::remoting {

// The arguments of one call, on the side of its caller. The steps are taken in this order; the call
// ends at the first that fails. Each may raise.
class ProxyArguments {
public:
    virtual result_t MarshalInputs(Connection& connection) = 0;
    virtual void SerializeInputs(serialization::Writer& writer) = 0;
    virtual void CollectInputFlags(NullFlags& flags) const = 0;
    // The peer has served the call: it has what was marshalled.
    virtual void InputsArrived() noexcept = 0;

    virtual std::size_t OutputInterfaces() const noexcept = 0;
    // What the method answered, then its output arguments when that is a success.
    virtual void DeserializeOutputs(serialization::Reader& reader) = 0;
    // kInvalidArgument when the flags contradict the handles.
    virtual result_t CheckOutputFlags(const NullFlags& flags) const noexcept = 0;
    virtual result_t DemarshalOutputs(Connection& connection) = 0;
    // Gives the caller all outputs at once, and the method's answer.
    virtual result_t Commit() noexcept = 0;

protected:
    ~ProxyArguments() = default;
};

// Calls the method `target` names at `place` and waits. Gives the method's own result, or the code
// of the step that failed, with the caller's outputs untouched. `delivered` is false when the
// request certainly did not reach the peer.
result_t SyncMethodProxy5(const Place& place, const CallTarget& target, ProxyArguments& arguments,
                          bool& delivered) noexcept;

}  // namespace vek::remoting
