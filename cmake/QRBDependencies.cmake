# Every library that the project calls, found once. Documentation/dependencies.md says what each is for.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(nlohmann_json REQUIRED)
pkg_check_modules(msgpack REQUIRED IMPORTED_TARGET msgpack)
pkg_check_modules(uriparser REQUIRED IMPORTED_TARGET liburiparser)
pkg_check_modules(pcre2 REQUIRED IMPORTED_TARGET libpcre2-8)
pkg_check_modules(utf8proc REQUIRED IMPORTED_TARGET libutf8proc)
pkg_check_modules(nettle REQUIRED IMPORTED_TARGET nettle)
pkg_check_modules(uuid REQUIRED IMPORTED_TARGET uuid)
pkg_check_modules(plist REQUIRED IMPORTED_TARGET libplist-2.0)
pkg_check_modules(icu REQUIRED IMPORTED_TARGET icu-i18n)
pkg_check_modules(gnutls REQUIRED IMPORTED_TARGET gnutls)
# Its parts by name: what their packages name besides, to link them statically, need not be installed.
pkg_check_modules(apr REQUIRED IMPORTED_TARGET apr-1)
find_path(QRB_SUBVERSION_INCLUDE svn_client.h PATH_SUFFIXES subversion-1 REQUIRED)
mark_as_advanced(QRB_SUBVERSION_INCLUDE)
add_library(qrb-dependencies-subversion INTERFACE)
target_include_directories(qrb-dependencies-subversion SYSTEM INTERFACE ${QRB_SUBVERSION_INCLUDE})
target_link_libraries(qrb-dependencies-subversion INTERFACE PkgConfig::apr)
foreach(part client wc ra diff repos subr)
  find_library(QRB_SUBVERSION_${part} svn_${part}-1 REQUIRED)
  mark_as_advanced(QRB_SUBVERSION_${part})
  target_link_libraries(qrb-dependencies-subversion INTERFACE ${QRB_SUBVERSION_${part}})
endforeach()

# What every program or library made of the project's objects links.
add_library(qrb-dependencies INTERFACE)
target_link_libraries(qrb-dependencies INTERFACE
  Threads::Threads PkgConfig::msgpack PkgConfig::uriparser PkgConfig::pcre2 PkgConfig::utf8proc PkgConfig::nettle
  PkgConfig::uuid ${CMAKE_DL_LIBS})

# What the parts of the library that plug-ins do not carry link besides: too slow to load once per request.
add_library(qrb-dependencies-host INTERFACE)
target_link_libraries(qrb-dependencies-host INTERFACE PkgConfig::plist PkgConfig::icu)

# The same for the shipped plug-ins, which start once per request: each shared library that the loader need not open
# saves start-up time, so archives are taken where the distribution has them.
add_library(qrb-dependencies-static INTERFACE)
target_link_libraries(qrb-dependencies-static INTERFACE Threads::Threads)
foreach(pair "msgpack:libmsgpackc.a" "pcre2:libpcre2-8.a" "utf8proc:libutf8proc.a" "nettle:libnettle.a" "uuid:libuuid.a" "uriparser:liburiparser.a")
  string(REPLACE ":" ";" pair ${pair})
  list(GET pair 0 module)
  list(GET pair 1 archive)
  find_library(QRB_STATIC_${module} ${archive})
  mark_as_advanced(QRB_STATIC_${module})
  if(QRB_STATIC_${module})
    target_link_libraries(qrb-dependencies-static INTERFACE ${QRB_STATIC_${module}})
  else()
    target_link_libraries(qrb-dependencies-static INTERFACE PkgConfig::${module})
  endif()
endforeach()
