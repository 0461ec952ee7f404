# The JSON library is headers alone. They are reached through a folder that holds nothing else: the
# cross compiler must not see the rest of the folder where they are installed.
find_path(MLXO_JSON_DIR nlohmann/json.hpp PATHS /usr/include /usr/local/include
          NO_CMAKE_FIND_ROOT_PATH REQUIRED)
set(json_headers ${CMAKE_BINARY_DIR}/json)
file(MAKE_DIRECTORY ${json_headers})
file(CREATE_LINK ${MLXO_JSON_DIR}/nlohmann ${json_headers}/nlohmann SYMBOLIC)
add_library(json INTERFACE)
target_include_directories(json SYSTEM INTERFACE ${json_headers})
