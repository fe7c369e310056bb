# Install rules, and the target that builds exactly what they install.
include(CMakePackageConfigHelpers)
get_property(services GLOBAL PROPERTY QRB_SERVICES)
set(headerDirectory ${CMAKE_INSTALL_INCLUDEDIR}/QRBSourceControl)
set(packageDirectory ${CMAKE_INSTALL_LIBDIR}/cmake/QRBSourceControl)

add_custom_target(qrb-shipped)
add_dependencies(qrb-shipped QRBSourceControl ${services})

install(TARGETS QRBSourceControl EXPORT QRBSourceControlTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
foreach(service ${services})
  install(TARGETS ${service} RUNTIME DESTINATION ${CMAKE_INSTALL_LIBDIR}/../${QRB_LIBEXEC_SUBDIRECTORY})
endforeach()
if(TARGET qrbscm)
  add_dependencies(qrb-shipped qrbscm qrb-manual)
  install(TARGETS qrbscm RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

# Which headers are public is read from their #include lines, at install time because those change with every edit.
install(CODE "
  set(sourceDirectory \"${PROJECT_SOURCE_DIR}\")
  set(headerDirectory \"\${CMAKE_INSTALL_PREFIX}/${headerDirectory}\")
  include(\"${PROJECT_SOURCE_DIR}/cmake/QRBInstallHeaders.cmake\")")

install(EXPORT QRBSourceControlTargets NAMESPACE QRBSourceControl:: DESTINATION ${packageDirectory})
configure_package_config_file(cmake/QRBSourceControlConfig.cmake.in ${PROJECT_BINARY_DIR}/QRBSourceControlConfig.cmake
  INSTALL_DESTINATION ${packageDirectory})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/QRBSourceControlConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/QRBSourceControlConfig.cmake ${PROJECT_BINARY_DIR}/QRBSourceControlConfigVersion.cmake
  DESTINATION ${packageDirectory})

configure_file(cmake/QRBSourceControl.pc.in ${PROJECT_BINARY_DIR}/QRBSourceControl.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/QRBSourceControl.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
install(DIRECTORY Documentation/ DESTINATION ${CMAKE_INSTALL_DOCDIR} FILES_MATCHING PATTERN "*.md" PATTERN "*.schema.json")
