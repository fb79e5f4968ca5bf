# What every target of the project is compiled with.
set(TELVO_SANITIZERS "" CACHE STRING "Value for -fsanitize, host builds only")
option(TELVO_FUZZERS "Build the libFuzzer programs; needs clang" OFF)
option(TELVO_COVERAGE "Instrument for gcov" OFF)
option(TELVO_TIDY "Run clang-tidy with every compilation" OFF)

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

add_library(project_options INTERFACE)
target_compile_options(project_options INTERFACE
  "$<$<COMPILE_LANGUAGE:C,CXX>:-Wall;-Wextra;-Wshadow;-Wconversion;-Wsign-conversion;-Werror>")

if(WIN32)
  # Everything is linked statically: telvocsp.dll needs no run-time library beside it.
  add_link_options(-static)
endif()

if(TELVO_SANITIZERS)
  add_compile_options(-fsanitize=${TELVO_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${TELVO_SANITIZERS})
endif()

if(TELVO_FUZZERS)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

if(TELVO_COVERAGE)
  add_compile_options(--coverage -O0)
  add_link_options(--coverage)
endif()

if(TELVO_TIDY)
  find_program(CLANG_TIDY NAMES clang-tidy-14 clang-tidy REQUIRED)
endif()

# telvo_options(target...) gives our own targets the warnings and, in the tidy preset, the checks.
function(telvo_options)
  foreach(target IN LISTS ARGN)
    target_link_libraries(${target} PRIVATE project_options)
    if(TELVO_TIDY)
      set_target_properties(${target} PROPERTIES CXX_CLANG_TIDY "${CLANG_TIDY};--quiet")
    endif()
  endforeach()
endfunction()
