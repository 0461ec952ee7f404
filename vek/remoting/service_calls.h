#pragma once

#include "vek/remoting/invocation.h"

namespace vek::remoting {

// Serves a call to the connection itself: what a peer needs before it knows any object.
void SendReceiveStub(Connection& connection, method_id_t call_id, bytes_t data, ReplyPort& reply);

}  // namespace vek::remoting
