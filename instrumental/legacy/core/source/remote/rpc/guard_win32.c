// Implements RemoteGuardedCall, which call_win32.h declares.

#include <windows.h>

#include <excpt.h>

// Of the calling thread: call_win32.cpp keeps it.
void RemoteKeepExceptionCode(unsigned long code);
unsigned long RemoteKeptExceptionCode(void);

// RPC_S_ and RPC_X_ codes are Win32 errors (winerror.h); those of the machine are not that small.
static int IsOfRpc(unsigned long code) { return code < 0x4000; }

// Named in the assembly of __try1 alone, so not static.
long RemoteGuardFilter(EXCEPTION_POINTERS* exception, void* frame);
long RemoteGuardFilter(EXCEPTION_POINTERS* exception, void* frame) {
    (void)frame;
    if (!IsOfRpc(exception->ExceptionRecord->ExceptionCode)) return EXCEPTION_CONTINUE_SEARCH;
    RemoteKeepExceptionCode(exception->ExceptionRecord->ExceptionCode);
    return EXCEPTION_EXECUTE_HANDLER;
}

// A function of its own, because __try1 defines labels.
__attribute__((noinline, noclone)) static void Run(void (*call)(void*), void* argument,
                                                   volatile int* done) {
    __try1(RemoteGuardFilter);
    call(argument);
    *done = 1;
    __except1;
}

unsigned long RemoteGuardedCall(void (*call)(void*), void* argument);
unsigned long RemoteGuardedCall(void (*call)(void*), void* argument) {
    volatile int done = 0;
    Run(call, argument, &done);
    return done ? 0 : RemoteKeptExceptionCode();
}
