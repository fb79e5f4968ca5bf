# telvo_wine_library(NAME FOLDER EXPORTS_FILE OBJECTS object... LIBRARIES library...) builds a library from Linux code that a
# Windows process loads as NAME.dll. telvo_compile_for_linux makes the objects, and winegcc links them into two files:
#
#   FOLDER/wine/x86_64-unix/NAME.dll.so   the library, found through WINEDLLPATH=FOLDER/wine
#   FOLDER/NAME.dll                       the placeholder that LoadLibrary finds beside the program or in system32
#
# The code is C++ and includes no Wine headers. cmake/WineDllMain.c is added because Wine needs an entry point in
# every library.
find_program(HOST_CXX NAMES g++ REQUIRED)
find_program(WINEGCC NAMES winegcc REQUIRED)
find_program(WINEGXX NAMES wineg++ REQUIRED)

set(TELVO_WINE_LIBRARY_FOLDER ${CMAKE_CURRENT_LIST_DIR})

# telvo_compile_for_linux(OBJECT SOURCES source... FLAGS flag...) compiles sources with the host's compiler into one object.
# They are compiled as one unit, as with telvo_unity. Several libraries may use the object.
# -fno-gnu-unique: the loader never unloads a library that has a unique symbol, and Wine cannot load a library twice.
function(telvo_compile_for_linux object)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES;FLAGS")
  set(flags
    -std=c++17 -O2 -g -fPIC -fvisibility=hidden -fno-gnu-unique
    -Wall -Wextra -Wshadow -Wconversion -Wsign-conversion -Werror -I${PROJECT_SOURCE_DIR} ${ARG_FLAGS})
  set(lines)
  foreach(source ${ARG_SOURCES})
    get_filename_component(source ${source} ABSOLUTE)
    file(RELATIVE_PATH source ${PROJECT_SOURCE_DIR} ${source})
    string(APPEND lines "#include \"${source}\"\n")
  endforeach()
  string(REGEX REPLACE "\\.o$" ".cpp" unit ${object})
  file(CONFIGURE OUTPUT ${unit} CONTENT "${lines}" @ONLY)  # does not touch an unchanged file
  file(RELATIVE_PATH name ${CMAKE_BINARY_DIR} ${object})
  add_custom_command(
    OUTPUT ${object}
    COMMAND ${CMAKE_CXX_COMPILER_LAUNCHER} ${HOST_CXX} ${flags} -MD -MF ${object}.d -c ${unit} -o ${object}
    DEPENDS ${unit} ${ARG_SOURCES}
    DEPFILE ${object}.d
    COMMENT "Compiling ${name} for Linux"
    VERBATIM)
endfunction()

function(telvo_wine_library name folder exports)
  cmake_parse_arguments(PARSE_ARGV 3 ARG "" "" "OBJECTS;LIBRARIES")
  set(objects ${folder}/objects)
  set(unix_folder ${folder}/wine/x86_64-unix)
  file(MAKE_DIRECTORY ${objects} ${unix_folder})
  set(object_files ${ARG_OBJECTS})

  set(dll_main ${TELVO_WINE_LIBRARY_FOLDER}/WineDllMain.c)
  add_custom_command(
    OUTPUT ${objects}/WineDllMain.c.o
    COMMAND ${WINEGCC} -c -O2 -g -fPIC -Wall -Wextra -Werror ${dll_main} -o ${objects}/WineDllMain.c.o
    DEPENDS ${dll_main}
    COMMENT "Compiling WineDllMain.c for the Wine library ${name}"
    VERBATIM)
  list(APPEND object_files ${objects}/WineDllMain.c.o)

  set(library ${unix_folder}/${name}.dll.so)
  set(placeholder ${folder}/${name}.dll)
  add_custom_command(
    OUTPUT ${library}
    COMMAND ${WINEGXX} -shared ${exports} ${object_files} ${ARG_LIBRARIES} -o ${library}
    DEPENDS ${exports} ${object_files}
    COMMENT "Linking ${name}.dll.so"
    VERBATIM)
  add_custom_command(
    OUTPUT ${placeholder}
    COMMAND ${WINEGXX} -shared -Wb,--fake-module ${exports} ${object_files} -o ${placeholder}
    DEPENDS ${exports} ${object_files}
    COMMENT "Making the placeholder ${name}.dll"
    VERBATIM)
  add_custom_target(${name} ALL DEPENDS ${library} ${placeholder})
endfunction()
