# GoogleTest is built from Debian's source package for every target alike.
set(MLXO_GOOGLETEST_DIR /usr/src/googletest CACHE PATH "GoogleTest's source tree")
if(NOT EXISTS ${MLXO_GOOGLETEST_DIR}/CMakeLists.txt)
    message(
        FATAL_ERROR
            "GoogleTest's sources are not in ${MLXO_GOOGLETEST_DIR}: run scripts/install-tools")
endif()
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
set(BUILD_GMOCK ON CACHE BOOL "" FORCE)
add_subdirectory(${MLXO_GOOGLETEST_DIR} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
# Built soonest so.
foreach(library IN ITEMS gtest gmock)
    target_compile_options(${library}
                           PRIVATE -O0 $<$<BOOL:${MLXO_FUZZERS}>:-fno-sanitize=fuzzer-no-link>)
endforeach()
