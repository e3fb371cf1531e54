# Warnings are errors in our own code.
add_library(vellmora_warnings INTERFACE)
target_compile_options(vellmora_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow=local -Wnon-virtual-dtor -Woverloaded-virtual -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # g++ 12 reports false positives on std::variant/std::optional moves under optimisation.
  target_compile_options(vellmora_warnings INTERFACE -Wno-maybe-uninitialized -Wno-dangling-reference)
endif()

# Adds a static library of our own code from the given sources.
function(vellmora_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES" ${ARGN})
  if(NOT ARG_SOURCES)
    set(ARG_SOURCES ${PROJECT_SOURCE_DIR}/cmake/empty.cpp)
  endif()
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE vellmora_warnings)
endfunction()
