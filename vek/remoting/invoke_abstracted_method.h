#pragma once

#include "vek/remoting/invocation.h"
#include "vek/remoting/null_flags.h"

namespace vek::remoting {

// The arguments of one call, on the side of the object. The stub calls the operations in this order
// and ends the call at the first that fails. Those that are not noexcept may raise.
class StubArguments {
public:
    // Of as many interfaces as these: without any, the operations that are about them need not be
    // called.
    std::size_t input_interfaces() const noexcept { return input_interfaces_; }
    std::size_t output_interfaces() const noexcept { return output_interfaces_; }
    bool has_interfaces() const noexcept { return input_interfaces_ + output_interfaces_ != 0; }

    virtual void DeserializeInputs(serialization::Reader& reader) = 0;
    // kInvalidArgument when the flags contradict the handles.
    virtual result_t CheckInputFlags(const NullFlags& flags) const noexcept = 0;
    virtual result_t DemarshalInputs(Connection& connection) = 0;
    // Calls the method. Gives its inputs back before it returns.
    virtual void Invoke() = 0;
    virtual result_t MarshalOutputs(Connection& connection) = 0;
    // Writes the method's answer, then its output arguments when that is a success. The writer may
    // view them.
    virtual void SerializeOutputs(serialization::Writer& writer) = 0;
    virtual void CollectOutputFlags(NullFlags& flags) const = 0;
    // Called when the reply was sent: the marshalled handles are the peer's now.
    virtual void OutputsDelivered() noexcept = 0;

protected:
    StubArguments(std::size_t input_interfaces, std::size_t output_interfaces) noexcept
        : input_interfaces_(input_interfaces), output_interfaces_(output_interfaces) {}
    ~StubArguments() = default;

private:
    const std::size_t input_interfaces_;
    const std::size_t output_interfaces_;
};

// Serves one call: takes the arguments from the request, calls the object, sends the reply. A
// failure on the way refuses the request with its code.
void InvokeAbstractedMethod6(const Invocation& invocation, StubArguments& arguments) noexcept;

}  // namespace vek::remoting
