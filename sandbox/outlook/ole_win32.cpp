#include "sandbox/outlook/entry_points.h"

namespace sandbox::outlook {

plugins::mapi::OleFunctions EntryPoints::Ole() { return plugins::mapi::SystemOleFunctions(); }

}  // namespace sandbox::outlook
