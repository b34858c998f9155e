# quillet_folder(<name> [LIBRARIES …]): one static library for src/<name>, of every source below it.
#
# Folders are the unit of who may use whom: LIBRARIES names the folders and packages that this one is allowed to see, and
# scripts/check-includes holds the includes to the same table.

add_library(quillet_warnings INTERFACE)
target_compile_options(quillet_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
                       -Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual -Wnull-dereference -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # GCC 12 reports -Wnull-dereference inside inlined library code that cannot be null.
    # -Wrestrict does the same with std::string's operator+ when it optimises (GCC bug 105651).
    target_compile_options(quillet_warnings INTERFACE -Wno-null-dereference -Wno-restrict)
endif()
if(QUILLET_SANITIZE)
    target_compile_options(quillet_warnings INTERFACE -fsanitize=${QUILLET_SANITIZE} -fno-omit-frame-pointer
                           -fno-sanitize-recover=all)
    target_link_options(quillet_warnings INTERFACE -fsanitize=${QUILLET_SANITIZE})
endif()

function(quillet_folder name)
    cmake_parse_arguments(FOLDER "" "" "LIBRARIES" ${ARGN})
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/src/${name}/*.cpp)
    list(FILTER sources EXCLUDE REGEX "/main\\.cpp$")
    add_library(quillet_${name} STATIC ${sources})
    target_include_directories(quillet_${name} PUBLIC ${CMAKE_SOURCE_DIR}/src)
    target_link_libraries(quillet_${name} PUBLIC quillet_warnings Threads::Threads ${FOLDER_LIBRARIES})
endfunction()
