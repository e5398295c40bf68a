# Debian packages, made by `cpack` in a build configured with the `package` preset (prefix /usr):
#   libkern83       the two shared libraries (the message texts are compiled into libkern83)
#   libkern83-dev   headers, the CMake package and kern83.pc
#   kern83-tools    the kern tool and its man page
# Each carries its copyright file and changelog, as Debian's policy asks of every package.

set(KERN83_DEB_PACKAGES runtime libkern83 dev libkern83-dev tools kern83-tools)
set(KERN83_CHANGELOG_GZ ${PROJECT_BINARY_DIR}/packaging/changelog.gz)
add_custom_command(
  OUTPUT ${KERN83_CHANGELOG_GZ}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${PROJECT_BINARY_DIR}/packaging
  COMMAND gzip -n -9 -c ${PROJECT_SOURCE_DIR}/packaging/changelog > ${KERN83_CHANGELOG_GZ}
  DEPENDS ${PROJECT_SOURCE_DIR}/packaging/changelog)
add_custom_target(kern83-changelog ALL DEPENDS ${KERN83_CHANGELOG_GZ})
while(KERN83_DEB_PACKAGES)
  list(POP_FRONT KERN83_DEB_PACKAGES component package)
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/copyright ${KERN83_CHANGELOG_GZ}
          DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package} COMPONENT ${component})
  string(TOUPPER ${component} COMPONENT)
  set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_NAME ${package})
endwhile()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kern83)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "kern83 developers <kern83@example.org>")
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime dev tools)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# Dependencies on system libraries (libicu72, libstdc++6, libc6) come from the binaries themselves.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
# A description's first line is the package's synopsis.
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "core runtime library of a business-application platform
Values, exact decimals, list streams, exceptions, reflection, value tables,
enumerations, threads, locks and schedules.")
# The linker cache is refreshed by a trigger, not by ldconfig calls in the maintainer scripts.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/libkern83/triggers
    ${PROJECT_SOURCE_DIR}/packaging/libkern83/postinst ${PROJECT_SOURCE_DIR}/packaging/libkern83/postrm)
set(CPACK_DEBIAN_DEV_DESCRIPTION "core runtime library of a business-application platform (development files)
Headers, the CMake package (find_package(kern83)) and the pkg-config file
kern83.pc.")
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libkern83 (= ${PROJECT_VERSION}), libicu-dev")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "command-line tool of the kern83 library
Exact decimal calculator, list-stream checker and formatter, cron schedules
and value tables from CSV.")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libkern83 (= ${PROJECT_VERSION})")
# The tool links the library of the same build, which dpkg-shlibdeps finds among the packages being made.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/core ${PROJECT_BINARY_DIR}/nexa)
include(CPack)
