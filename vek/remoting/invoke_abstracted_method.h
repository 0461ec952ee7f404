#pragma once

#include "vek/remoting/invocation.h"
#include "vek/remoting/null_flags.h"

namespace vek::remoting {

// The arguments of one call, on the side of the object. The stub calls the operations in this order
// and ends the call at the first that fails. Those that are not noexcept may raise.
class StubArguments {
public:
    virtual std::size_t InputInterfaces() const noexcept = 0;
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
    ~StubArguments() = default;
};

// Serves one call: takes the arguments from the request, calls the object, sends the reply. A
// failure on the way refuses the request with its code.
void InvokeAbstractedMethod6(const Invocation& invocation, StubArguments& arguments) noexcept;

}  // namespace vek::remoting
