# Install rules: the library, its public headers, a CMake package and a pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS corvane_xml EXPORT corvane_xml_targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

foreach(header IN LISTS CORVANE_XML_PUBLIC_HEADERS)
  get_filename_component(dir ${header} DIRECTORY)
  install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${dir})
endforeach()

set(CORVANE_XML_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/corvane_xml)
install(EXPORT corvane_xml_targets NAMESPACE corvane:: FILE corvane_xmlTargets.cmake
  DESTINATION ${CORVANE_XML_CMAKE_DIR})
# Consumers inside the build tree can find the package without installing it.
export(EXPORT corvane_xml_targets NAMESPACE corvane::
  FILE ${PROJECT_BINARY_DIR}/corvane_xmlTargets.cmake)

configure_package_config_file(cmake/corvane_xmlConfig.cmake.in
  ${PROJECT_BINARY_DIR}/corvane_xmlConfig.cmake
  INSTALL_DESTINATION ${CORVANE_XML_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/corvane_xmlConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/corvane_xmlConfig.cmake
  ${PROJECT_BINARY_DIR}/corvane_xmlConfigVersion.cmake
  DESTINATION ${CORVANE_XML_CMAKE_DIR})

# The .pc file finds its prefix relative to itself, so an installed tree can be moved.
file(RELATIVE_PATH CORVANE_XML_PC_TO_PREFIX
  "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
string(REGEX REPLACE "/$" "" CORVANE_XML_PC_TO_PREFIX "${CORVANE_XML_PC_TO_PREFIX}")
configure_file(cmake/corvane_xml.pc.in ${PROJECT_BINARY_DIR}/corvane_xml.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/corvane_xml.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
