# Installs headers, both libraries, an exported CMake package (find_package(kern83 CONFIG)) and a
# pkg-config file. Each file belongs to one component, which is one Debian package (Kern83Package.cmake):
# runtime (the shared libraries), dev (what building against them needs) and tools (the kern tool).
include(CMakePackageConfigHelpers)

install(TARGETS nexa kern83
        EXPORT kern83Targets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/nexa/include/ ${PROJECT_SOURCE_DIR}/core/include/
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev)
install(FILES ${PROJECT_BINARY_DIR}/generated/core/Version.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/core COMPONENT dev)

set(KERN83_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/kern83)
install(EXPORT kern83Targets NAMESPACE kern83:: DESTINATION ${KERN83_CMAKE_DIR} COMPONENT dev)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/kern83Config.cmake.in
                              ${PROJECT_BINARY_DIR}/kern83Config.cmake
                              INSTALL_DESTINATION ${KERN83_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kern83ConfigVersion.cmake
                                 COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/kern83Config.cmake ${PROJECT_BINARY_DIR}/kern83ConfigVersion.cmake
        DESTINATION ${KERN83_CMAKE_DIR} COMPONENT dev)

# The .pc file goes to <libdir>/pkgconfig and names the prefix relative to itself: "../.." for lib,
# "../../.." for lib/x86_64-linux-gnu.
file(RELATIVE_PATH KERN83_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" KERN83_PC_TO_PREFIX "${KERN83_PC_TO_PREFIX}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/kern83.pc.in ${PROJECT_BINARY_DIR}/kern83.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kern83.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
