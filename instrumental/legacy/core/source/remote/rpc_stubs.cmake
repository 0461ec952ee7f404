# The stubs of the RPC interface: interpreted ones, with functions of their own names for either
# side, since one program is both.
find_program(MLXO_WIDL x86_64-w64-mingw32-widl REQUIRED)
set(stubs ${CMAKE_CURRENT_BINARY_DIR}/rpc)
file(MAKE_DIRECTORY ${stubs})
add_custom_command(
    OUTPUT ${stubs}/rpc_transport.h ${stubs}/rpc_transport_c.c ${stubs}/rpc_transport_s.c
    COMMAND ${MLXO_WIDL} --win64 -Oicf -h -c -s --prefix-client=Call --prefix-server=Serve
            -H ${stubs}/rpc_transport.h -o ${stubs}/rpc_transport
            ${CMAKE_CURRENT_SOURCE_DIR}/rpc_transport.idl
    DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/rpc_transport.idl
    WORKING_DIRECTORY ${stubs}
    VERBATIM)
add_library(rpc_stubs OBJECT ${stubs}/rpc_transport_c.c ${stubs}/rpc_transport_s.c)
target_compile_options(rpc_stubs PRIVATE -w)
target_compile_definitions(rpc_stubs PRIVATE _WIN32_WINNT=0x0601)
add_library(rpc_stub_headers INTERFACE)
target_include_directories(rpc_stub_headers SYSTEM INTERFACE ${stubs})
add_dependencies(rpc_stub_headers rpc_stubs)
target_sources(remote PRIVATE $<TARGET_OBJECTS:rpc_stubs>)
target_link_libraries(remote PUBLIC rpcrt4 advapi32 PRIVATE rpc_stub_headers)
