# Asio without Boost is headers alone. They are reached as those of the JSON library are.
find_path(MLXO_ASIO_DIR asio.hpp PATHS /usr/include /usr/local/include NO_CMAKE_FIND_ROOT_PATH
                                                                       REQUIRED)
set(asio_headers ${CMAKE_BINARY_DIR}/asio)
file(MAKE_DIRECTORY ${asio_headers})
foreach(name IN ITEMS asio asio.hpp)
    file(CREATE_LINK ${MLXO_ASIO_DIR}/${name} ${asio_headers}/${name} SYMBOLIC)
endforeach()
add_library(asio INTERFACE)
target_include_directories(asio SYSTEM INTERFACE ${asio_headers})
target_compile_definitions(asio INTERFACE ASIO_STANDALONE ASIO_NO_DEPRECATED)
if(WIN32)
    target_link_libraries(asio INTERFACE ws2_32 mswsock)
endif()
