#include "vek/remoting/remote_object.h"

#include "vek/remoting/connection.h"

namespace vek::remoting {

StubReference::~StubReference() { place_.connection->ReleaseProxy(place_.handle); }

}  // namespace vek::remoting
