#include "mapi/ole_functions.h"

namespace plugins::mapi {

OleFunctions SystemOleFunctions() noexcept { return {}; }

}  // namespace plugins::mapi
