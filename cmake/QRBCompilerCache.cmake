# Compiles through ccache where it is installed. Paths below the source folder are made relative, so that another clone
# of the same revision, and the next preset of this one, find what was compiled before.
find_program(QRB_CCACHE ccache)
mark_as_advanced(QRB_CCACHE)
if(QRB_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER env CCACHE_BASEDIR=${PROJECT_SOURCE_DIR} CCACHE_NOHASHDIR=true ${QRB_CCACHE})
endif()
