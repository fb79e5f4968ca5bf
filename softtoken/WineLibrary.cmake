# The windows preset's half of the software token. A Windows process loads telvopkcs11.dll, but what it gets is Linux
# code, because SoftHSM is Linux code: the host's compiler compiles it, and winegcc links it into two files,
#
#   wine/x86_64-unix/telvopkcs11.dll.so   the library, found through WINEDLLPATH=<this folder>/wine
#   telvopkcs11.dll                       the placeholder that LoadLibrary finds beside the program or in system32
find_program(HOST_CXX NAMES g++ REQUIRED)
find_program(WINEGCC NAMES winegcc REQUIRED)
find_program(WINEGXX NAMES wineg++ REQUIRED)

set(objects ${CMAKE_CURRENT_BINARY_DIR}/objects)
set(unix_folder ${CMAKE_CURRENT_BINARY_DIR}/wine/x86_64-unix)
file(MAKE_DIRECTORY ${objects} ${unix_folder})

# -fno-gnu-unique: with a unique symbol in it, the loader would never unload the library, and Wine cannot load it twice.
set(host_flags
  -std=c++17 -O2 -g -fPIC -fvisibility=hidden -fno-gnu-unique
  -Wall -Wextra -Wshadow -Wconversion -Wsign-conversion -Werror
  -I${softtoken_src}
  -isystem ${CMAKE_BINARY_DIR}/isolated-headers/pkcs11_headers
  -isystem /usr/include/PCSC
)

set(object_files)
foreach(source ${softtoken_sources} ${softtoken_windows_sources} WindowsExport.cpp)
  set(object ${objects}/${source}.o)
  add_custom_command(
    OUTPUT ${object}
    COMMAND ${CMAKE_CXX_COMPILER_LAUNCHER} ${HOST_CXX} ${host_flags}
            -MD -MF ${object}.d -c ${CMAKE_CURRENT_SOURCE_DIR}/${source} -o ${object}
    DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${source}
    DEPFILE ${object}.d
    COMMENT "Compiling ${source} for the Wine library"
    VERBATIM)
  list(APPEND object_files ${object})
endforeach()

add_custom_command(
  OUTPUT ${objects}/DllMain.c.o
  COMMAND ${WINEGCC} -c -O2 -g -fPIC -Wall -Wextra -Werror ${CMAKE_CURRENT_SOURCE_DIR}/DllMain.c
          -o ${objects}/DllMain.c.o
  DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/DllMain.c
  COMMENT "Compiling DllMain.c for the Wine library"
  VERBATIM)
list(APPEND object_files ${objects}/DllMain.c.o)

set(library ${unix_folder}/telvopkcs11.dll.so)
set(placeholder ${CMAKE_CURRENT_BINARY_DIR}/telvopkcs11.dll)
set(exports ${CMAKE_CURRENT_SOURCE_DIR}/telvopkcs11.def)
add_custom_command(
  OUTPUT ${library}
  COMMAND ${WINEGXX} -shared ${exports} ${object_files} -lcrypto -ldl -lpthread -o ${library}
  DEPENDS ${exports} ${object_files}
  COMMENT "Linking telvopkcs11.dll.so"
  VERBATIM)
add_custom_command(
  OUTPUT ${placeholder}
  COMMAND ${WINEGXX} -shared -Wb,--fake-module ${exports} ${object_files} -o ${placeholder}
  DEPENDS ${exports} ${object_files}
  COMMENT "Making the placeholder telvopkcs11.dll"
  VERBATIM)
add_custom_target(telvopkcs11 ALL DEPENDS ${library} ${placeholder})
