// What the stubs allocate with: the C heap, where a PacketBuffer's bytes come from too.

#include <rpc.h>

#include <cstdlib>

extern "C" {

void* __RPC_USER midl_user_allocate(std::size_t size);
void* __RPC_USER midl_user_allocate(std::size_t size) { return std::malloc(size); }

void __RPC_USER midl_user_free(void* bytes);
void __RPC_USER midl_user_free(void* bytes) { std::free(bytes); }

}  // extern "C"
