# Install rules and packages, in two components: Runtime, what a program needs to run; Development, what it needs to be
# built.
include(CMakePackageConfigHelpers)

set(QORCV_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/qorcv)
set(QORCV_PC_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
set(QORCV_RUNTIME_PACKAGE libqorcv${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
set(QORCV_DEVELOPMENT_PACKAGE libqorcv-dev)

install(TARGETS qorcv qorcore EXPORT qorcvTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime NAMELINK_COMPONENT Development)
if(QORCV_WIDE)
  install(TARGETS qorcv_v3
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/${QORCV_WIDE_SUBDIR} COMPONENT Runtime NAMELINK_SKIP)
endif()
install(FILES include/qorcv.h core/qorcore.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT Development)
install(DIRECTORY include/qorcv DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT Development
  FILES_MATCHING PATTERN *.h)

install(EXPORT qorcvTargets NAMESPACE qorcv:: DESTINATION ${QORCV_CMAKE_DIR} COMPONENT Development)
configure_package_config_file(cmake/qorcvConfig.cmake.in ${PROJECT_BINARY_DIR}/qorcvConfig.cmake
  INSTALL_DESTINATION ${QORCV_CMAKE_DIR} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qorcvConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qorcvConfig.cmake ${PROJECT_BINARY_DIR}/qorcvConfigVersion.cmake
  DESTINATION ${QORCV_CMAKE_DIR} COMPONENT Development)

# Paths in the pkg-config file start at the file itself, so that an installation may be moved.
file(RELATIVE_PATH QORCV_PC_TO_PREFIX /${QORCV_PC_DIR} /)
string(REGEX REPLACE "/$" "" QORCV_PC_TO_PREFIX ${QORCV_PC_TO_PREFIX})
configure_file(cmake/qorcv.pc.in ${PROJECT_BINARY_DIR}/qorcv.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qorcv.pc DESTINATION ${QORCV_PC_DIR} COMPONENT Development)

install(FILES LICENSE RENAME copyright DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${QORCV_RUNTIME_PACKAGE}
  COMPONENT Runtime)
install(FILES LICENSE RENAME copyright DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${QORCV_DEVELOPMENT_PACKAGE}
  COMPONENT Development)

if(PROJECT_IS_TOP_LEVEL)
  set(CPACK_GENERATOR DEB)
  set(CPACK_PACKAGE_NAME qorcv)
  set(CPACK_PACKAGE_VENDOR "The qorCV developers")
  set(CPACK_PACKAGE_CONTACT "The qorCV developers")
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_COMPONENTS_ALL Runtime Development)
  # The symbol table stays: a profile or a backtrace through the library is read by its users.
  set(CPACK_STRIP_FILES OFF)
  set(CPACK_DEB_COMPONENT_INSTALL ON)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

  set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "Shared library: plain C functions that work on the caller's image buffers.")
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${QORCV_RUNTIME_PACKAGE})
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src ${PROJECT_BINARY_DIR}/core)
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)

  set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "Headers, CMake package and pkg-config file to build programs with it.")
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME ${QORCV_DEVELOPMENT_PACKAGE})
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${QORCV_RUNTIME_PACKAGE} (= ${PROJECT_VERSION})")
  include(CPack)
endif()
