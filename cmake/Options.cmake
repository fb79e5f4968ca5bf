# The compiler and linker options of every target of the project.
set(TELVO_SANITIZERS "" CACHE STRING "Value for -fsanitize, host builds only")
set(TELVO_TEST_FLAGS -O0 -g1 CACHE STRING "Compiler flags of the tests; the tested code keeps its own flags")
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
  # The same sources give the same files, in any folder and at any time.
  add_compile_options($<$<COMPILE_LANGUAGE:C,CXX>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.>)
  add_link_options(-Wl,--no-insert-timestamp)
endif()

# Builds for users are hardened: a function with a buffer checks its stack before it returns, and a call of the C library that
# writes past the end of a buffer of known size ends the process. MinGW's linker randomises addresses and forbids code in data by
# default. The sanitizers check more, and their run-time libraries replace the checked calls. The coverage and tidy presets do
# not optimise.
if(NOT TELVO_SANITIZERS AND NOT TELVO_COVERAGE AND NOT TELVO_LLVM_COVERAGE AND NOT TELVO_TIDY)
  add_compile_options(-fstack-protector-strong -D_FORTIFY_SOURCE=2)
  if(WIN32)
    target_link_libraries(project_options INTERFACE stack_guard thread_library)
  else()
    add_link_options(-Wl,-z,relro,-z,now,-z,noexecstack)
  endif()
endif()

if(TELVO_SANITIZERS)
  # -O1, and line numbers without variables: the sanitizers' reports stay the same, and compiling takes half as long.
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

# telvo_unloadable(target...) is for targets that go into the host's library: the loader never unloads a library with unique symbols.
function(telvo_unloadable)
  if(NOT WIN32 AND CMAKE_CXX_COMPILER_ID STREQUAL GNU)
    foreach(target IN LISTS ARGN)
      target_compile_options(${target} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-fno-gnu-unique>)
    endforeach()
  endif()
endfunction()

# Headers that nearly every source includes are precompiled once for each target. The tidy preset does not precompile them, so
# that it finds sources with missing includes.
option(TELVO_PRECOMPILE "Use precompiled headers" ON)
if(TELVO_TIDY)
  set(TELVO_PRECOMPILE OFF)
endif()
if(TELVO_PRECOMPILE AND CMAKE_CXX_COMPILER_ID STREQUAL Clang)
  add_compile_options("$<$<COMPILE_LANGUAGE:CXX>:SHELL:-Xclang -fno-pch-timestamp>")  # for ccache
elseif(TELVO_PRECOMPILE AND CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  add_compile_options("$<$<COMPILE_LANGUAGE:CXX>:-fpch-preprocess>")  # for ccache
endif()

# telvo_precompile(target header...) gives a target its own precompiled header. telvo_precompile_from(owner target...) reuses that
# of another target, which must be compiled with the same flags.
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

# The sources of a folder are compiled as one unit. That takes a fifth of the time, because most of it goes into headers. The host
# preset compiles each source separately, except tests: it finds sources with missing includes, and a change recompiles one source.
option(TELVO_UNITY "Compile the product's sources of a folder as one" ON)

# telvo_unity(target [TESTS]) does this for a target; call it after all sources were added. Names with internal linkage must be
# unique within a folder.
function(telvo_unity target)
  if(NOT TELVO_UNITY AND NOT "TESTS" IN_LIST ARGN)
    return()
  endif()
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
  get_target_property(sources ${target} SOURCES)
  foreach(source IN LISTS sources)
    get_filename_component(folder ${source} DIRECTORY)
    if(IS_ABSOLUTE "${folder}")  # the debug symbols contain the name of the unit
      file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR} ${folder})
    endif()
    string(REPLACE "/" "_" group "here/${folder}")
    set_source_files_properties(${source} PROPERTIES UNITY_GROUP ${group})
  endforeach()
endfunction()
