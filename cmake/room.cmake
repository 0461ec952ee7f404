# A room is one folder with one responsibility, built as one static library.
#
#   mlxo_room(NAME SOURCES a.cpp b.cpp PLATFORM event DEPENDS vek_core)
#
# PLATFORM names are built from NAME_win32.cpp or NAME_posix.cpp, whichever the target is.

if(WIN32)
    set(MLXO_PLATFORM_SUFFIX win32)
else()
    set(MLXO_PLATFORM_SUFFIX posix)
endif()

# A room's files are compiled together, in groups that two processors share well, and the standard
# headers once for all. Without it every file is compiled alone, as changes to few files want it.
option(MLXO_UNITY "Compile the files of a room together" ON)
set(CMAKE_UNITY_BUILD ${MLXO_UNITY})
set(CMAKE_UNITY_BUILD_BATCH_SIZE 16)

# The tree's version, that of the project: "mlxo_version.h".
set(MLXO_GENERATED_HEADERS ${CMAKE_BINARY_DIR}/generated)
configure_file(${CMAKE_CURRENT_LIST_DIR}/mlxo_version.h.in ${MLXO_GENERATED_HEADERS}/mlxo_version.h)

add_library(mlxo_options INTERFACE)
target_compile_features(mlxo_options INTERFACE cxx_std_20)
target_include_directories(
    mlxo_options
    INTERFACE ${MLXO_GENERATED_HEADERS} ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/instrumental/legacy/core/source
              ${PROJECT_SOURCE_DIR}/plugins/source
              ${PROJECT_SOURCE_DIR}/plugins/source/mail/com/source)
target_compile_options(
    mlxo_options
    INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror
              # Traces name source files: relative to the tree, wherever it was built.
              -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
if(WIN32)
    # Windows 7 is the oldest host.
    target_compile_definitions(mlxo_options INTERFACE _WIN32_WINNT=0x0601 WINVER=0x0601 NOMINMAX
                                                      WIN32_LEAN_AND_MEAN)
endif()

find_package(Threads REQUIRED)
target_link_libraries(mlxo_options INTERFACE Threads::Threads)

if(MLXO_SANITIZE)
    add_compile_options(-fsanitize=${MLXO_SANITIZE} -fno-sanitize-recover=all
                        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${MLXO_SANITIZE})
endif()
if(MLXO_FUZZERS)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# mlxo_precompile(TARGET HEADER...), mlxo_precompile(TARGET REUSE_FROM OTHER)
function(mlxo_precompile)
    if(MLXO_UNITY)
        list(POP_FRONT ARGN target)
        if("REUSE_FROM" IN_LIST ARGN)
            target_precompile_headers(${target} ${ARGN})
        else()
            target_precompile_headers(${target} PRIVATE ${ARGN})
        endif()
    endif()
endfunction()

add_library(standard_headers OBJECT ${CMAKE_CURRENT_LIST_DIR}/standard_headers.cpp)
target_link_libraries(standard_headers PRIVATE mlxo_options)
mlxo_precompile(standard_headers ${CMAKE_CURRENT_LIST_DIR}/standard_headers.h)

function(mlxo_room name)
    cmake_parse_arguments(ROOM "" "" "SOURCES;PLATFORM;DEPENDS" ${ARGN})
    foreach(base IN LISTS ROOM_PLATFORM)
        list(APPEND ROOM_SOURCES ${base}_${MLXO_PLATFORM_SUFFIX}.cpp)
    endforeach()
    if(ROOM_SOURCES)
        add_library(${name} STATIC ${ROOM_SOURCES})
        target_link_libraries(${name} PUBLIC mlxo_options ${ROOM_DEPENDS})
        mlxo_precompile(${name} REUSE_FROM standard_headers)
    else() # headers alone
        add_library(${name} INTERFACE)
        target_link_libraries(${name} INTERFACE mlxo_options ${ROOM_DEPENDS})
    endif()
endfunction()
