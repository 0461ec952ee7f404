#include "sandbox/outlook/entry_points.h"

namespace sandbox::outlook {

plugins::mapi::OleFunctions EntryPoints::Ole() {
    return {&CreateStream, &CreateLockBytes, &CreateDocfile};
}

}  // namespace sandbox::outlook
