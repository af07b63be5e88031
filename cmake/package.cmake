# Debian packages through CPack, one per install component, with the licence and the change log
# in /usr/share/doc/<package>/ as Debian expects.
set(INSTALL_CPPUTIL_MAINTAINER "install_cpputil maintainers <maintainers@install-cpputil.invalid>"
    CACHE STRING "Maintainer field of the Debian packages")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libinstall-cpputil${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libinstall-cpputil-dev)
set(CPACK_DEBIAN_TOOL_PACKAGE_NAME install-cpputil)
set(CPACK_COMPONENTS_ALL runtime development)
if(INSTALL_CPPUTIL_BUILD_TOOLS)
  list(APPEND CPACK_COMPONENTS_ALL tool)
endif()

# Machine-readable copyright file built from LICENSE: continuation lines start with a blank,
# and an empty line is written " .".
file(READ ${PROJECT_SOURCE_DIR}/LICENSE cpputil_license)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/LICENSE)
string(REGEX MATCH "Copyright \\(c\\) ([^\n]*)" cpputil_holder "${cpputil_license}")
set(cpputil_holder "${CMAKE_MATCH_1}")
string(FIND "${cpputil_license}" "Permission" cpputil_terms_begin)
string(SUBSTRING "${cpputil_license}" ${cpputil_terms_begin} -1 cpputil_terms)
string(STRIP "${cpputil_terms}" cpputil_terms)
string(REPLACE "\n\n" "\n.\n" cpputil_terms "${cpputil_terms}")
string(REPLACE "\n" "\n " cpputil_terms "${cpputil_terms}")
file(WRITE ${PROJECT_BINARY_DIR}/copyright
  "Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/\n"
  "Upstream-Name: ${PROJECT_NAME}\n\n"
  "Files: *\nCopyright: ${cpputil_holder}\nLicense: Expat\n ${cpputil_terms}\n")

add_custom_command(OUTPUT ${PROJECT_BINARY_DIR}/changelog.gz
  COMMAND ${CMAKE_COMMAND} -E copy ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_BINARY_DIR}/changelog
  COMMAND gzip -9nf ${PROJECT_BINARY_DIR}/changelog
  DEPENDS ${PROJECT_SOURCE_DIR}/CHANGELOG.md VERBATIM)
add_custom_target(cpputil_changelog ALL DEPENDS ${PROJECT_BINARY_DIR}/changelog.gz)

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  install(FILES ${PROJECT_BINARY_DIR}/copyright ${PROJECT_BINARY_DIR}/changelog.gz
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME}
          COMPONENT ${component})
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME install-cpputil)
set(CPACK_PACKAGE_VENDOR "The install_cpputil authors")
set(CPACK_PACKAGE_CONTACT "${INSTALL_CPPUTIL_MAINTAINER}")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The tool's link to the library is resolved in the build tree; its package depends on the
# runtime package by component instead.
get_target_property(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS install_cpputil BINARY_DIR)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
# Minor releases keep the ABI, so programs built against this one accept any later 1.x.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS libboost-log-dev)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)

set(cpputil_about "install_cpputil is a C++ library for the components of a desktop software
installer: the installation log, a cancel flag that reaches long-running work
as an exception, the installer's input file, argument validation against rule
strings, dotted version comparison, sandbox detection and the installer locale.")
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "C++ utilities for software installers
${cpputil_about}

This package contains the shared library.")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "C++ utilities for software installers - development files
${cpputil_about}

This package contains the C++17 headers, the CMake package and the pkg-config
file.")
set(CPACK_COMPONENT_TOOL_DESCRIPTION "installer utilities from the shell
${cpputil_about}

This package contains install-cpputil, which offers these services to the
shell-script parts of an installer, with its manual page and bash completion.")

include(CPack)
cpack_add_component(runtime DISPLAY_NAME "Shared library")
cpack_add_component(development DISPLAY_NAME "Development files" DEPENDS runtime)
cpack_add_component(tool DISPLAY_NAME "Command-line tool" DEPENDS runtime)
