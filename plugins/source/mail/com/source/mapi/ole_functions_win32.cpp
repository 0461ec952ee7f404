#include "mapi/ole_functions.h"

// The order matters: it needs windows.h.
#include <ole2.h>

namespace plugins::mapi {

OleFunctions SystemOleFunctions() noexcept {
    return {CreateStreamOnHGlobal, CreateILockBytesOnHGlobal, StgCreateDocfileOnILockBytes};
}

}  // namespace plugins::mapi
