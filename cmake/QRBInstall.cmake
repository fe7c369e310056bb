# Install rules, and the target that builds exactly what they install.
include(CMakePackageConfigHelpers)
get_property(services GLOBAL PROPERTY QRB_SERVICES)
set(packageDirectory ${QRB_LIBRARY_SUBDIRECTORY}/cmake/QRBSourceControl)

add_custom_target(qrb-shipped)
add_dependencies(qrb-shipped QRBSourceControl ${services})

install(TARGETS QRBSourceControl EXPORT QRBSourceControlTargets
  LIBRARY DESTINATION ${QRB_LIBRARY_SUBDIRECTORY} INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
foreach(service ${services})
  install(TARGETS ${service} RUNTIME DESTINATION ${QRB_SERVICES_SUBDIRECTORY})
endforeach()
if(TARGET qrbscm)
  add_dependencies(qrb-shipped qrbscm qrb-manual)
  install(TARGETS qrbscm RUNTIME DESTINATION bin)
endif()

list(TRANSFORM QRB_PUBLIC_PLATFORM_HEADERS PREPEND ${PROJECT_SOURCE_DIR}/Platform/ OUTPUT_VARIABLE platformHeaders)
install(FILES ${platformHeaders} ${QRB_PUBLIC_VERSION_HEADER} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qrb)
list(TRANSFORM QRB_PUBLIC_FRAMEWORK_HEADERS PREPEND ${PROJECT_SOURCE_DIR}/Framework/ OUTPUT_VARIABLE frameworkHeaders)
install(FILES ${frameworkHeaders} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/QRBSourceControl)

install(EXPORT QRBSourceControlTargets NAMESPACE QRBSourceControl:: DESTINATION ${packageDirectory})
configure_package_config_file(cmake/QRBSourceControlConfig.cmake.in ${PROJECT_BINARY_DIR}/QRBSourceControlConfig.cmake
  INSTALL_DESTINATION ${packageDirectory})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/QRBSourceControlConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/QRBSourceControlConfig.cmake ${PROJECT_BINARY_DIR}/QRBSourceControlConfigVersion.cmake
  DESTINATION ${packageDirectory})

configure_file(cmake/QRBSourceControl.pc.in ${PROJECT_BINARY_DIR}/QRBSourceControl.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/QRBSourceControl.pc DESTINATION ${QRB_LIBRARY_SUBDIRECTORY}/pkgconfig)
install(DIRECTORY Documentation/ DESTINATION ${CMAKE_INSTALL_DOCDIR} FILES_MATCHING PATTERN "*.md" PATTERN "*.schema.json")
