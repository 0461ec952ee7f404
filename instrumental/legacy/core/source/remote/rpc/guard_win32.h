#pragma once

// Failures of RPC are structured exceptions, which the C++ compiler cannot catch.

#ifdef __cplusplus
extern "C" {
#endif

// Calls `call(argument)`. Gives the code of the RPC exception that ended it, or 0. Other structured
// exceptions pass. What is between must have nothing to be destroyed.
unsigned long RemoteGuardedCall(void (*call)(void*), void* argument);

#ifdef __cplusplus
}
#endif
