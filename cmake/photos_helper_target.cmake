# The one way that this project declares a library or a program: same warnings, same sanitizers,
# includes written from the root of the tree.

add_library(photos_helper_options INTERFACE)
target_include_directories(photos_helper_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(photos_helper_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor
  -Wold-style-cast -Woverloaded-virtual -Werror)

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # GCC 12 sees overlapping copies in "text" + std::string that are not there (GCC bug 105651).
  target_compile_options(photos_helper_options INTERFACE -Wno-restrict)
endif()

if(PHOTOS_HELPER_SANITIZERS)
  target_compile_options(photos_helper_options INTERFACE
    -fsanitize=${PHOTOS_HELPER_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(photos_helper_options INTERFACE -fsanitize=${PHOTOS_HELPER_SANITIZERS})
endif()

function(photos_helper_library name)
  add_library(${name} STATIC ${ARGN})
  target_link_libraries(${name} PUBLIC photos_helper_options)
endfunction()

function(photos_helper_executable name)
  add_executable(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE photos_helper_options)
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR})
endfunction()
