# Compiler settings and the few target shapes that the tree is made of.

add_library(qrb-settings INTERFACE)
target_compile_options(qrb-settings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-align -Wunused
  -ffunction-sections -fdata-sections)
target_compile_definitions(qrb-settings INTERFACE _GNU_SOURCE MSGPACK_NO_BOOST)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # gcc 12 warns of impossible overlaps in std::string's own operator+.
  target_compile_options(qrb-settings INTERFACE -Wno-restrict)
endif()
# What distributions ask of programs that read what strangers wrote. Sanitizers check more, and want none of it.
option(QRB_HARDENING "Build with the compiler's and linker's protections" ON)
include(CheckPIESupported)
check_pie_supported()
if(QRB_HARDENING AND NOT QRB_SANITIZER)
  target_compile_options(qrb-settings INTERFACE -fstack-protector-strong)
  # Whoever builds may ask for more. It takes optimisation, without which the C library warns.
  if(NOT CMAKE_CXX_FLAGS MATCHES _FORTIFY_SOURCE)
    set(optimised $<NOT:$<OR:$<CONFIG:Debug>,$<BOOL:$<TARGET_PROPERTY:QRB_UNOPTIMISED>>>>)
    target_compile_options(qrb-settings INTERFACE $<${optimised}:-U_FORTIFY_SOURCE> $<${optimised}:-D_FORTIFY_SOURCE=2>)
  endif()
  include(CheckCXXCompilerFlag)
  check_cxx_compiler_flag(-fcf-protection QRB_HAS_CF_PROTECTION)  # not every processor
  if(QRB_HAS_CF_PROTECTION)
    target_compile_options(qrb-settings INTERFACE -fcf-protection)
  endif()
  target_link_options(qrb-settings INTERFACE -Wl,-z,relro -Wl,-z,now)
endif()
if(CMAKE_UNITY_BUILD)
  # Several sources are compiled as one here, and a local name may then shadow something that another source keeps to
  # itself. Builds of one source at a time keep the warning.
  target_compile_options(qrb-settings INTERFACE -Wno-shadow)
endif()
if(QRB_SANITIZER)
  target_compile_options(qrb-settings INTERFACE -fsanitize=${QRB_SANITIZER} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(qrb-settings INTERFACE -fsanitize=${QRB_SANITIZER})
  if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND QRB_SANITIZER MATCHES thread)
    # gcc warns that TSan does not model std::atomic_thread_fence; the project uses none.
    target_compile_options(qrb-settings INTERFACE -Wno-tsan)
  endif()
  if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
    # The checks inserted by the sanitizers make gcc see values that are unset only on paths that cannot be taken.
    target_compile_options(qrb-settings INTERFACE -Wno-maybe-uninitialized)
  endif()
endif()

# Every folder below the current one that holds a header.
function(qrb_header_directories result)
  file(GLOB_RECURSE headers CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
  set(directories "")
  foreach(header ${headers})
    get_filename_component(directory ${header} DIRECTORY)
    list(APPEND directories ${directory})
  endforeach()
  list(REMOVE_DUPLICATES directories)
  set(${result} ${directories} PARENT_SCOPE)
endfunction()

# qrb_subsystem(<name> [HOST_ONLY] DEPENDS <subsystem>...): the sources of the current folder as one OBJECT
# library, compiled once and linked into the shared library and into every plug-in. Its include path is its own
# folders and those of the subsystems named, so an include against the direction of the arrows does not compile. Plug-ins
# carry nothing of a HOST_ONLY one, nor the libraries that it calls.
set_property(GLOBAL PROPERTY QRB_SUBSYSTEMS "")
set_property(GLOBAL PROPERTY QRB_HOST_ONLY_SUBSYSTEMS "")
function(qrb_subsystem name)
  cmake_parse_arguments(ARG "HOST_ONLY" "" "DEPENDS;PRIVATE_DEPENDS" ${ARGN})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  qrb_header_directories(directories)
  if(IS_DIRECTORY ${QRB_LAYER_INCLUDE_DIRECTORY}/${name})
    list(APPEND directories ${QRB_LAYER_INCLUDE_DIRECTORY}/${name})
  endif()
  add_library(qrb-${name} OBJECT ${sources})
  target_include_directories(qrb-${name} PUBLIC ${directories})
  target_link_libraries(qrb-${name} PRIVATE qrb-settings)
  foreach(dependency ${ARG_DEPENDS})
    target_link_libraries(qrb-${name} PUBLIC qrb-${dependency})
  endforeach()
  # The headers alone of a subsystem above: for sources that call up where no header may.
  foreach(dependency ${ARG_PRIVATE_DEPENDS})
    target_include_directories(qrb-${name} PRIVATE $<TARGET_PROPERTY:qrb-${dependency},INTERFACE_INCLUDE_DIRECTORIES>)
  endforeach()
  target_compile_definitions(qrb-${name} PRIVATE QRB_BUILDING_LIBRARY)
  if(ARG_HOST_ONLY)
    set_property(GLOBAL APPEND PROPERTY QRB_HOST_ONLY_SUBSYSTEMS qrb-${name})
  else()
    set_property(GLOBAL APPEND PROPERTY QRB_SUBSYSTEMS qrb-${name})
  endif()
endfunction()

# Every subsystem of the library, those that plug-ins do not carry included.
function(qrb_all_subsystems result)
  get_property(subsystems GLOBAL PROPERTY QRB_SUBSYSTEMS)
  get_property(hostOnly GLOBAL PROPERTY QRB_HOST_ONLY_SUBSYSTEMS)
  set(${result} ${subsystems} ${hostOnly} PARENT_SCOPE)
endfunction()

# Links every object of the library into a target, and the libraries that they call, without the shared library between.
function(qrb_link_objects target)
  qrb_all_subsystems(subsystems)
  target_link_libraries(${target} PRIVATE ${subsystems} qrb-settings qrb-dependencies qrb-dependencies-host)
endfunction()

# qrb_rooms(<library> DEPENDS <target>...): a library of several rooms, which need what it depends on. It has no code of its
# own; who links it gets the objects of each room.
function(qrb_rooms library)
  cmake_parse_arguments(ARG "" "" "DEPENDS" ${ARGN})
  add_library(${library} INTERFACE)
  set_property(TARGET ${library} PROPERTY QRB_DEPENDENCIES "${ARG_DEPENDS}")
endfunction()

# qrb_room(<library> <folder> DEPENDS <folder>...): the sources of one folder, compiled with its own headers and those of
# the rooms that it names and they in turn, so an include of any other does not compile. A program's main stays out.
function(qrb_room library folder)
  cmake_parse_arguments(ARG "" "" "DEPENDS" ${ARGN})
  string(TOLOWER ${library}-${folder} room)
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${folder}/*.cpp)
  list(FILTER sources EXCLUDE REGEX "/main\\.cpp$")
  add_library(${room} OBJECT ${sources})
  target_include_directories(${room} PUBLIC ${CMAKE_CURRENT_SOURCE_DIR}/${folder})
  get_property(dependencies TARGET ${library} PROPERTY QRB_DEPENDENCIES)
  target_link_libraries(${room} PUBLIC ${dependencies} PRIVATE qrb-settings)
  foreach(dependency ${ARG_DEPENDS})
    string(TOLOWER ${library}-${dependency} dependency)
    target_link_libraries(${room} PUBLIC ${dependency})
  endforeach()
  target_link_libraries(${library} INTERFACE ${room})
  target_sources(${library} INTERFACE $<TARGET_OBJECTS:${room}>)
endfunction()

# qrb_service(<target> <identifier suffix>): a plug-in or helper service, built under the name it is launched by.
# Statically linked as far as it goes: a service starts once per request.
set(QRB_VENDOR_PREFIX "org.qrb")
set_property(GLOBAL PROPERTY QRB_SERVICES "")
function(qrb_service target suffix)
  cmake_parse_arguments(ARG "" "OUTPUT_DIRECTORY" "SOURCES;LIBRARIES" ${ARGN})
  # One with a folder of its own is a test's and not installed.
  if(NOT ARG_OUTPUT_DIRECTORY)
    set(ARG_OUTPUT_DIRECTORY ${QRB_LIBEXEC_OUTPUT_DIRECTORY})
    set_property(GLOBAL APPEND PROPERTY QRB_SERVICES ${target})
  endif()
  add_executable(${target} ${ARG_SOURCES})
  set_target_properties(${target} PROPERTIES
    OUTPUT_NAME "${QRB_VENDOR_PREFIX}.Orlix.sourcecontrol.${suffix}"
    RUNTIME_OUTPUT_DIRECTORY ${ARG_OUTPUT_DIRECTORY}
    INSTALL_RPATH "")
  get_property(subsystems GLOBAL PROPERTY QRB_SUBSYSTEMS)
  target_link_libraries(${target} PRIVATE ${subsystems} qrb-settings ${ARG_LIBRARIES} qrb-dependencies-static)
  target_link_options(${target} PRIVATE -Wl,--gc-sections -Wl,--as-needed)
  if(NOT QRB_SANITIZER)
    target_link_options(${target} PRIVATE -static-libstdc++ -static-libgcc)
  endif()
endfunction()

# qrb_test(<name> DIRECTORY <dir> LABELS <label>... LIBRARIES <target>... DEPENDS <target>...): one GoogleTest program of
# every source in a folder, its cases known to CTest. The target tests-<label> builds all programs of that label. Cases
# whose names match SLOW, a regular expression, are begun before others, so that none of them runs alone at the end.
function(qrb_test name)
  cmake_parse_arguments(ARG "" "DIRECTORY;SLOW" "LIBRARIES;LABELS;DEPENDS;PROPERTIES" ${ARGN})
  if(NOT ARG_SLOW)
    set(ARG_SLOW "^$")
  endif()
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${ARG_DIRECTORY}/*.cpp)
  if(NOT sources)
    return()
  endif()
  add_executable(${name} ${sources})
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tests QRB_UNOPTIMISED ON)
  target_link_libraries(${name} PRIVATE qrb-test-support ${ARG_LIBRARIES} GTest::gmock GTest::gtest_main)
  # What is tested is optimised; optimising the tests themselves would only double the time that they take to compile.
  target_compile_options(${name} PRIVATE $<$<NOT:$<CONFIG:Debug>>:-O0>)
  if(ARG_DEPENDS)
    add_dependencies(${name} ${ARG_DEPENDS})
  endif()
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60 TEST_LIST ${name}_cases
    PROPERTIES TIMEOUT 300 ${ARG_PROPERTIES})
  foreach(label ${ARG_LABELS})
    if(NOT TARGET tests-${label})
      add_custom_target(tests-${label})
    endif()
    add_dependencies(tests-${label} ${name})
  endforeach()
  # A list does not survive the way through PROPERTIES, so the labels are set once the cases are known.
  file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/${name}_labels.cmake CONTENT
    "foreach(case IN LISTS ${name}_cases)\n  set_tests_properties(\"\${case}\" PROPERTIES LABELS \"${ARG_LABELS}\")
  if(case MATCHES [[${ARG_SLOW}]])
    set_tests_properties(\"\${case}\" PROPERTIES COST 10)
  endif()
endforeach()
" @ONLY)
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}_labels.cmake)
endfunction()
