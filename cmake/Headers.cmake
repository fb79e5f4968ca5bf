# Boost and the PKCS#11 types come from the build machine's /usr/include, for both targets. The cross compiler must not
# see the rest of that folder, so each of the two is included through a separate folder that contains one symbolic link.
function(telvo_isolated_headers name folder)
  set(root ${CMAKE_BINARY_DIR}/isolated-headers/${name})
  file(MAKE_DIRECTORY ${root})
  get_filename_component(leaf ${folder} NAME)
  if(NOT IS_DIRECTORY ${folder})
    message(FATAL_ERROR "${folder} is missing: run scripts/setup")
  endif()
  file(CREATE_LINK ${folder} ${root}/${leaf} SYMBOLIC)
  add_library(${name} INTERFACE)
  target_include_directories(${name} SYSTEM INTERFACE ${root})
endfunction()

telvo_isolated_headers(boost_headers /usr/include/boost)
telvo_isolated_headers(pkcs11_headers /usr/include/p11-kit-1/p11-kit)
