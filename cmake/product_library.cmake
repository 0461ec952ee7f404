# A product's information library, "product_info" in the folder that is given, which exports what the
# plug-in looks for and nothing of the framework.
#
#   mlxo_product_library(NAME FOLDER ${folder} SOURCES a.cpp DEPENDS vek_platform)
function(mlxo_product_library name)
    cmake_parse_arguments(LIBRARY "" "FOLDER" "SOURCES;DEPENDS" ${ARGN})
    add_library(${name} MODULE ${LIBRARY_SOURCES})
    target_link_libraries(${name} PRIVATE ${LIBRARY_DEPENDS})
    set_target_properties(${name} PROPERTIES PREFIX "" OUTPUT_NAME product_info
                                             LIBRARY_OUTPUT_DIRECTORY ${LIBRARY_FOLDER})
    if(WIN32)
        target_sources(${name} PRIVATE ${PROJECT_SOURCE_DIR}/cmake/product_info.def
                                       $<TARGET_OBJECTS:dll_main>)
    else()
        target_link_options(${name} PRIVATE -Wl,--exclude-libs,ALL)
    endif()
endfunction()
