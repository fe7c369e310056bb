# Where things are put. The build tree has the shape of the install tree, so that services are found alike in both, and
# either can be moved as a whole: programs, library and services find each other by the way from one to the next.

# A text and no path: a relative path that is given without its type would be made one below the current folder.
set(CMAKE_INSTALL_LIBDIR lib CACHE STRING "Folder of the library, below the prefix")
include(GNUInstallDirs)
# Some distributions give it in full.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  file(RELATIVE_PATH QRB_LIBRARY_SUBDIRECTORY ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_LIBDIR})
else()
  set(QRB_LIBRARY_SUBDIRECTORY ${CMAKE_INSTALL_LIBDIR})
endif()
cmake_path(NORMAL_PATH QRB_LIBRARY_SUBDIRECTORY)
string(REGEX REPLACE "/$" "" QRB_LIBRARY_SUBDIRECTORY "${QRB_LIBRARY_SUBDIRECTORY}")
if(QRB_LIBRARY_SUBDIRECTORY MATCHES "^[.][.]?(/|$)" OR QRB_LIBRARY_SUBDIRECTORY STREQUAL "")
  message(FATAL_ERROR "CMAKE_INSTALL_LIBDIR is \"${CMAKE_INSTALL_LIBDIR}\", which is no folder below the prefix "
    "\"${CMAKE_INSTALL_PREFIX}\". Give one below it, for example -DCMAKE_INSTALL_LIBDIR=lib64.")
endif()

set(QRB_SERVICES_SUBDIRECTORY libexec/qrbsourcecontrol)
file(RELATIVE_PATH QRB_SERVICES_FROM_LIBRARY /${QRB_LIBRARY_SUBDIRECTORY} /${QRB_SERVICES_SUBDIRECTORY})
file(RELATIVE_PATH QRB_PREFIX_FROM_PKGCONFIG /${QRB_LIBRARY_SUBDIRECTORY}/pkgconfig /)
string(REGEX REPLACE "/$" "" QRB_PREFIX_FROM_PKGCONFIG "${QRB_PREFIX_FROM_PKGCONFIG}")

set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/${QRB_LIBRARY_SUBDIRECTORY})
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(QRB_LIBEXEC_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/${QRB_SERVICES_SUBDIRECTORY})
