# What every target of the project is compiled with.
set(TELVO_SANITIZERS "" CACHE STRING "Value for -fsanitize, host builds only")
set(TELVO_TEST_FLAGS -O0 -g1 CACHE STRING "How tests are compiled; what they test keeps its own flags")
option(TELVO_FUZZERS "Build the libFuzzer programs; needs clang" OFF)
option(TELVO_COVERAGE "Instrument for gcov" OFF)
option(TELVO_LLVM_COVERAGE "Instrument for llvm-cov; needs clang" OFF)
option(TELVO_TIDY "Configure for scripts/tidy, which compiles nothing" OFF)

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
  # The same sources give the same files, whatever folder they lie in and whenever they are built.
  add_compile_options($<$<COMPILE_LANGUAGE:C,CXX>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.>)
  add_link_options(-Wl,--no-insert-timestamp)
endif()

# What users get is hardened: a function with a buffer checks its stack before it returns, and a call of the C library that
# writes beyond a buffer of known size ends the process. MinGW's linker randomises addresses and forbids code in data by
# itself. The sanitizers do more, and their run-time libraries replace the checked calls; the other presets do not optimise.
if(NOT TELVO_SANITIZERS AND NOT TELVO_COVERAGE AND NOT TELVO_LLVM_COVERAGE AND NOT TELVO_TIDY)
  add_compile_options(-fstack-protector-strong -D_FORTIFY_SOURCE=2)
  if(WIN32)
    target_link_libraries(project_options INTERFACE stack_guard thread_library)
  else()
    add_link_options(-Wl,-z,relro,-z,now,-z,noexecstack)
  endif()
endif()

if(TELVO_SANITIZERS)
  # -O1 and lines without variables: what a sanitizer says does not change, and compiling takes half as long.
  add_compile_options(-O1 -g1 -fsanitize=${TELVO_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${TELVO_SANITIZERS})
endif()

if(TELVO_FUZZERS)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

if(TELVO_COVERAGE)
  add_compile_options(--coverage -O0)
  add_link_options(--coverage)
endif()

if(TELVO_LLVM_COVERAGE)
  add_compile_options(-fprofile-instr-generate -fcoverage-mapping)
  add_link_options(-fprofile-instr-generate)
endif()

# telvo_options(target...) gives our own targets the warnings.
function(telvo_options)
  foreach(target IN LISTS ARGN)
    target_link_libraries(${target} PRIVATE project_options)
  endforeach()
endfunction()

# telvo_unloadable(target...) is for what goes into the host's library: one with unique symbols is never unloaded.
function(telvo_unloadable)
  if(NOT WIN32 AND CMAKE_CXX_COMPILER_ID STREQUAL GNU)
    foreach(target IN LISTS ARGN)
      target_compile_options(${target} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-fno-gnu-unique>)
    endforeach()
  endif()
endfunction()

# Headers that nearly every source includes are compiled once for a target. The tidy preset goes without, so that a source
# that does not include what it needs is found.
option(TELVO_PRECOMPILE "Use precompiled headers" ON)
if(TELVO_TIDY)
  set(TELVO_PRECOMPILE OFF)
endif()
if(TELVO_PRECOMPILE AND CMAKE_CXX_COMPILER_ID STREQUAL Clang)
  add_compile_options("$<$<COMPILE_LANGUAGE:CXX>:SHELL:-Xclang -fno-pch-timestamp>")  # for ccache
elseif(TELVO_PRECOMPILE AND CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  add_compile_options("$<$<COMPILE_LANGUAGE:CXX>:-fpch-preprocess>")  # for ccache
endif()

# telvo_precompile(target header...) gives a target a header of its own, telvo_precompile_from(owner target...) that of another
# target, which is compiled with the same flags.
function(telvo_precompile target)
  if(TELVO_PRECOMPILE)
    target_precompile_headers(${target} PRIVATE ${ARGN})
  endif()
endfunction()

function(telvo_precompile_from owner)
  if(TELVO_PRECOMPILE)
    foreach(target IN LISTS ARGN)
      target_precompile_headers(${target} REUSE_FROM ${owner})
    endforeach()
  endif()
endfunction()

# The sources of a folder are compiled as one, which takes a fifth of the time: most of it is headers. The preset host compiles
# each source but tests by itself, so that one that does not include what it needs is found, and a change compiles one source.
option(TELVO_UNITY "Compile the product's sources of a folder as one" ON)

# telvo_unity(target [TESTS]) does so for a target whose sources are all added. Names without linkage must differ within a
# folder.
function(telvo_unity target)
  if(NOT TELVO_UNITY AND NOT "TESTS" IN_LIST ARGN)
    return()
  endif()
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
  get_target_property(sources ${target} SOURCES)
  foreach(source IN LISTS sources)
    get_filename_component(folder ${source} DIRECTORY)
    if(IS_ABSOLUTE "${folder}")  # the name of the unit stands in the debug symbols
      file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR} ${folder})
    endif()
    string(REPLACE "/" "_" group "here/${folder}")
    set_source_files_properties(${source} PROPERTIES UNITY_GROUP ${group})
  endforeach()
endfunction()
