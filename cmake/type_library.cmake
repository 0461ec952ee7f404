# mlxo_type_library(NAME FILE.idl): compiles the definition of a type library. NAME gives its
# declarations, FILE.h, and their ids; MLXO_TYPE_LIBRARY_NAME is the library's file, to be a resource.
# FILE.idl imports the oaidl.idl beside it.
function(mlxo_type_library name idl)
    find_program(MLXO_WIDL x86_64-w64-mingw32-widl REQUIRED)
    # Wine's, which the library refers to by its name and id alone.
    find_path(MLXO_STDOLE_DIR stdole2.tlb
              PATHS /usr/lib/x86_64-linux-gnu/wine/x86_64-windows /usr/lib/wine/x86_64-windows
                    /usr/lib64/wine/x86_64-windows NO_CMAKE_FIND_ROOT_PATH REQUIRED)
    cmake_path(GET idl STEM stem)
    cmake_path(ABSOLUTE_PATH idl)
    cmake_path(GET idl PARENT_PATH folder)
    set(out ${CMAKE_CURRENT_BINARY_DIR}/${name})
    file(MAKE_DIRECTORY ${out})
    add_custom_command(
        OUTPUT ${out}/${stem}.tlb ${out}/${stem}.h ${out}/${stem}_i.c
        COMMAND ${MLXO_WIDL} --win64 -t -h -u -I ${folder} -L ${MLXO_STDOLE_DIR} ${idl}
        DEPENDS ${idl} ${folder}/oaidl.idl
        WORKING_DIRECTORY ${out}
        VERBATIM)
    add_library(${name} STATIC ${out}/${stem}_i.c ${out}/${stem}.h)
    set_target_properties(${name} PROPERTIES UNITY_BUILD OFF)
    target_compile_options(${name} PRIVATE -w)
    target_include_directories(${name} SYSTEM INTERFACE ${out})
    set(MLXO_TYPE_LIBRARY_${name} ${out}/${stem}.tlb PARENT_SCOPE)
endfunction()
