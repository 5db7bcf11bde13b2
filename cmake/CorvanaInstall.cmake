# `cmake --install`: the public headers, both libraries, the resource bundle, a CMake package
# (find_package(Corvana) -> Corvana::corvana, Corvana::corvana_static) and a pkg-config file (corvana.pc).
# The internal object library, the tools and the tests are not installed.

include(CMakePackageConfigHelpers)

set(CORVANA_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/Corvana")

install(TARGETS corvana corvana_static EXPORT CorvanaTargets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}"
  INCLUDES DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
install(DIRECTORY include/corvana DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
# Where the SDK looks for its bundle unless the host names another folder (CORVANA_RESOURCE_DIR).
install(DIRECTORY resources/CRVResources.bundle DESTINATION "${CMAKE_INSTALL_DATADIR}/corvana")

install(EXPORT CorvanaTargets NAMESPACE Corvana:: DESTINATION "${CORVANA_CMAKE_DIR}")
configure_package_config_file(cmake/CorvanaConfig.cmake.in "${CMAKE_CURRENT_BINARY_DIR}/CorvanaConfig.cmake"
  INSTALL_DESTINATION "${CORVANA_CMAKE_DIR}")
# 0.x: a minor version may change the interface.
write_basic_package_version_file("${CMAKE_CURRENT_BINARY_DIR}/CorvanaConfigVersion.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/CorvanaConfig.cmake" "${CMAKE_CURRENT_BINARY_DIR}/CorvanaConfigVersion.cmake"
  DESTINATION "${CORVANA_CMAKE_DIR}")

# The pkg-config file finds its prefix from its own place, so an install with `--prefix` elsewhere works too.
file(RELATIVE_PATH CORVANA_PC_TO_PREFIX "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
configure_file(cmake/corvana.pc.in "${CMAKE_CURRENT_BINARY_DIR}/corvana.pc" @ONLY)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/corvana.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
