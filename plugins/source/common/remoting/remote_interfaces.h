#pragma once

#include <memory>

#include "vek/remoting/proxy_stub_factory.h"

namespace plugins::remoting {

// Every interface that crosses the border between the plug-in and the product, for a connection of
// either. Immutable, one for the process.
std::shared_ptr<const vek::remoting::ProxyStubFactories> RemoteInterfaces();

}  // namespace plugins::remoting
