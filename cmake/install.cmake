# Installation: the public headers, libzemac and libzemcore with their soname links, the two
# sample programs (finding the libraries through $ORIGIN, not the build tree), a pkg-config
# file and a CMake package with the imported target zemac::zemac.
include(CMakePackageConfigHelpers)

set_target_properties(zemac zemcore PROPERTIES INSTALL_RPATH "$ORIGIN")
set_target_properties(zemdec zemenc PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")

install(TARGETS zemac zemcore EXPORT zemacTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS zemdec zemenc RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES ${CMAKE_SOURCE_DIR}/include/zemac.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${CMAKE_SOURCE_DIR}/include/zemac DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(ZEM_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/zemac)
install(EXPORT zemacTargets NAMESPACE zemac:: DESTINATION ${ZEM_CMAKE_DIR})
configure_package_config_file(${CMAKE_SOURCE_DIR}/cmake/zemacConfig.cmake.in
                              ${CMAKE_BINARY_DIR}/zemacConfig.cmake INSTALL_DESTINATION ${ZEM_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/zemacConfigVersion.cmake
                                 VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/zemacConfig.cmake ${CMAKE_BINARY_DIR}/zemacConfigVersion.cmake
        DESTINATION ${ZEM_CMAKE_DIR})
# The pkg-config file finds its prefix from where it lies, so that an installed tree can move.
file(RELATIVE_PATH ZEM_PC_TO_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
configure_file(${CMAKE_SOURCE_DIR}/cmake/zemac.pc.in ${CMAKE_BINARY_DIR}/zemac.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/zemac.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
