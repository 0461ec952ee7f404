#include "vek/core/throw.h"

namespace vek {

void ThrowResult(result_t code, SourcePlace place) { throw ResultCodeException(place, code); }

void ThrowBadQueryInterface(SourcePlace place) { throw BadQueryInterfaceException(place); }

void ThrowCreateInstance(result_t code, SourcePlace place) {
    throw CreateInstanceException(place, code);
}

void ThrowGetInterface(result_t code, SourcePlace place) {
    throw GetInterfaceException(place, code);
}

void ThrowSystem(result_t code, SourcePlace place) { throw SystemException(place, code); }

}  // namespace vek
