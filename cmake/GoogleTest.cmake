# GoogleTest is built from Debian's sources, with the flags of the current platform.
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
if(WIN32)
  set(gtest_disable_pthreads ON CACHE BOOL "" FORCE)  # Win32 primitives instead of winpthread
endif()
add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
include(GoogleTest)
foreach(target gtest gtest_main gmock gmock_main)
  target_compile_options(${target} PRIVATE ${TELVO_TEST_FLAGS} -U_FORTIFY_SOURCE)  # like the tests
endforeach()

# A program of test cases is registered by one of the next two functions, which give its tests the label "cases". By default scripts/test
# leaves them out of the preset host, because host-asan has the same. So neither may be called for the preset host alone.

# telvo_discover_tests(target ...) registers each test case with CTest as a separate process. It is for tests of windows: in one
# process they would share the state that Wine keeps for it. CTest lists the cases by running the program under Wine when CTest
# starts, not at build time.
function(telvo_discover_tests target)
  gtest_discover_tests(${target} NO_PRETTY_VALUES DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120 PROPERTIES TIMEOUT 120 LABELS cases ${ARGN})
endfunction()

# telvo_shard_tests(target count) distributes the test cases over `count` processes; each runs every count-th case. If a process
# crashes, its output ends with the name of the case.
function(telvo_shard_tests target count)
  math(EXPR last "${count} - 1")
  foreach(index RANGE ${last})
    add_test(NAME ${target}.${index} COMMAND ${target})
    set_tests_properties(${target}.${index} PROPERTIES
      TIMEOUT 600 LABELS cases ENVIRONMENT "GTEST_TOTAL_SHARDS=${count};GTEST_SHARD_INDEX=${index}")
  endforeach()
endfunction()

# telvo_threads_only(target): under ThreadSanitizer, leaves out the sources of tests without threads, because only several threads can
# make a race. A source counts as one with threads when it contains one of the words below: a test that starts a thread includes <thread>
# or <future>, or names a class that starts one.
function(telvo_threads_only target)
  if(NOT TELVO_SANITIZERS MATCHES thread)
    return()
  endif()
  get_target_property(sources ${target} SOURCES)
  foreach(source IN LISTS sources)
    get_filename_component(file ${source} ABSOLUTE)
    file(READ ${file} text)
    if(text MATCHES "\nTEST" AND NOT text MATCHES "[Tt]hread|<future>|WaitingLogin")
      list(REMOVE_ITEM sources ${source})
    endif()
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
  endforeach()
  set_target_properties(${target} PROPERTIES SOURCES "${sources}")
endfunction()
