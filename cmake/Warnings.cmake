# We build with clang: g++ 12 destroys temporaries inside co_await expressions twice (a lambda or a
# by-value argument in `co_await f(...)`), which corrupts memory in ordinary coroutine code.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  message(WARNING "g++ ${CMAKE_CXX_COMPILER_VERSION} miscompiles coroutines; use the presets (clang++-14).")
endif()

# Warnings are errors in our own code.
add_library(vellmora_warnings INTERFACE)
target_compile_options(vellmora_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wnon-virtual-dtor -Woverloaded-virtual -Werror)
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  target_compile_options(vellmora_warnings INTERFACE -Wshadow-uncaptured-local)
else()
  target_compile_options(vellmora_warnings INTERFACE -Wshadow=local -Wno-maybe-uninitialized)
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
