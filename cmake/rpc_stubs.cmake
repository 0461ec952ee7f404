# mlxo_rpc_stubs(NAME FILE.idl): stubs of an RPC interface for tests and benchmarks, as an object
# library, and NAME_headers for their NAME.h. The client's functions begin with Call, the server's
# with Stub, since one program may be both. The product has none of them.
function(mlxo_rpc_stubs name idl)
    find_program(MLXO_WIDL x86_64-w64-mingw32-widl REQUIRED)
    set(stubs ${CMAKE_CURRENT_BINARY_DIR}/${name}_stubs)
    file(MAKE_DIRECTORY ${stubs})
    add_custom_command(
        OUTPUT ${stubs}/${name}.h ${stubs}/${name}_c.c ${stubs}/${name}_s.c
        COMMAND ${MLXO_WIDL} --win64 -Oicf -h -c -s --prefix-client=Call --prefix-server=Stub -H
                ${stubs}/${name}.h -o ${stubs}/${name} ${idl}
        DEPENDS ${idl}
        WORKING_DIRECTORY ${stubs}
        VERBATIM)
    add_library(${name} OBJECT ${stubs}/${name}_c.c ${stubs}/${name}_s.c)
    set_target_properties(${name} PROPERTIES UNITY_BUILD OFF)
    target_compile_options(${name} PRIVATE -w)
    target_compile_definitions(${name} PRIVATE _WIN32_WINNT=0x0601)
    add_library(${name}_headers INTERFACE)
    target_include_directories(${name}_headers SYSTEM INTERFACE ${stubs})
    add_dependencies(${name}_headers ${name})
endfunction()
