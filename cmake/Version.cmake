# The release version is defined in one place, project(... VERSION) in CMakeLists.txt. The resource scripts include it as
# Version.h; the installer gets it as an argument.
set(patch ${PROJECT_VERSION_PATCH})
if(NOT patch)
  set(patch 0)
endif()
set(TELVO_VERSION_NUMBERS ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}.${patch}.0)
string(REPLACE "." ", " TELVO_VERSION_LIST ${TELVO_VERSION_NUMBERS})
configure_file(${CMAKE_CURRENT_LIST_DIR}/Version.h.in ${CMAKE_BINARY_DIR}/version/Version.h)
include_directories(${CMAKE_BINARY_DIR}/version)
