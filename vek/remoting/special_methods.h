#pragma once

#include "vek/core/object.h"
#include "vek/remoting/invocation.h"
#include "vek/remoting/remote_object.h"

namespace vek::remoting {

// Serves a method that every object has, whatever its interface: the remote interface query.
// `object` is null when the request names no object of this end.
void InvokeSpecialMethod4(IObject* object, const Invocation& invocation);

// The reply of the interface query: a result code, then the handle of the interface's stub.
inline constexpr std::size_t kQueryReplySize = sizeof(result_t) + sizeof(stub_handle_t);

// Asks the peer for another interface of the object at `address` and makes a proxy of it.
// kNotSupported, without asking, for an interface that stays in its process; kRemoteCallFailed or
// another remoting code when it cannot be asked; otherwise the object's own answer.
result_t InternalQueryInterface(const StubAddress& address, interface_id_t own_id,
                                interface_id_t id, void** out) noexcept;

}  // namespace vek::remoting
