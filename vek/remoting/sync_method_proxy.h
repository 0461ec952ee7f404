#pragma once

#include "vek/remoting/connection.h"
#include "vek/remoting/null_flags.h"
#include "vek/remoting/remote_object.h"

namespace vek::remoting {

// The arguments of one call, on the side of its caller. The proxy calls the operations in this
// order and ends the call at the first that fails. Those that are not noexcept may raise.
class ProxyArguments {
public:
    // Of as many interfaces as these: without any, the operations that are about them need not be
    // called.
    std::size_t input_interfaces() const noexcept { return input_interfaces_; }
    std::size_t output_interfaces() const noexcept { return output_interfaces_; }

    virtual result_t MarshalInputs(Connection& connection) = 0;
    virtual void SerializeInputs(serialization::Writer& writer) = 0;
    virtual void CollectInputFlags(NullFlags& flags) const = 0;
    // Called when the peer has served the call: the marshalled handles are the peer's now.
    virtual void InputsDelivered() noexcept = 0;

    // Storage for the bytes that follow in a reply, of whose beginning `reader` reads as far as
    // there; empty when there is none. Called before, and then OutputsLanded once they are there:
    // the reply is without them then.
    virtual std::span<std::byte> FindLanding(serialization::Reader& reader) noexcept = 0;
    virtual void OutputsLanded() noexcept = 0;

    // Reads the method's answer, then its output arguments when that is a success.
    virtual void DeserializeOutputs(serialization::Reader& reader) = 0;
    // kInvalidArgument when the flags contradict the handles.
    virtual result_t CheckOutputFlags(const NullFlags& flags) const noexcept = 0;
    virtual result_t DemarshalOutputs(Connection& connection) = 0;
    // Gives the caller all outputs at once, and the method's answer.
    virtual result_t Commit() noexcept = 0;

protected:
    ProxyArguments(std::size_t input_interfaces, std::size_t output_interfaces) noexcept
        : input_interfaces_(input_interfaces), output_interfaces_(output_interfaces) {}
    ~ProxyArguments() = default;

private:
    const std::size_t input_interfaces_;
    const std::size_t output_interfaces_;
};

// Calls the method `target` names at `address` and waits. Gives the method's own result, or the
// code of the step that failed, with the caller's outputs untouched, but for storage that bytes of
// the reply went to as they arrived. `delivered` is false when the
// request certainly did not reach the peer.
result_t SyncMethodProxy5(const StubAddress& address, const CallTarget& target,
                          ProxyArguments& arguments, bool& delivered) noexcept;

}  // namespace vek::remoting
