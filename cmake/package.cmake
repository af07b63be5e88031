# Debian packages through CPack, one per install component, with the licence and the change log
# in /usr/share/doc/<package>/ as Debian expects; on Windows, the SDK zip instead.
if(WIN32)
  include(${CMAKE_CURRENT_LIST_DIR}/windows/sdk.cmake)
  return()
endif()

set(INSTALL_CPPUTIL_MAINTAINER "install_cpputil maintainers <maintainers@install-cpputil.invalid>"
    CACHE STRING "Maintainer field of the Debian packages")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libinstall-cpputil${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libinstall-cpputil-dev)
set(CPACK_DEBIAN_TOOL_PACKAGE_NAME install-cpputil)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_NAME libinstall-cpputil-doc)
set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-install-cpputil)
set(CPACK_COMPONENTS_ALL runtime development python)
if(INSTALL_CPPUTIL_BUILD_TOOLS)
  list(APPEND CPACK_COMPONENTS_ALL tool)
endif()
if(INSTALL_CPPUTIL_BUILD_DOCS)
  list(APPEND CPACK_COMPONENTS_ALL documentation)
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

# Beside the upstream change log, each package's Debian change log: one entry for this release,
# dated as CHANGELOG.md dates it (today, while its section is not dated yet).
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(cpputil_deb_version ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
file(READ ${PROJECT_SOURCE_DIR}/CHANGELOG.md cpputil_changes)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/CHANGELOG.md)
set(cpputil_release_day today)
if(cpputil_changes MATCHES "\n## \\[${PROJECT_VERSION}\\] - ([0-9]+-[0-9]+-[0-9]+)\n")
  set(cpputil_release_day ${CMAKE_MATCH_1})
endif()
execute_process(COMMAND date -u -R -d "${cpputil_release_day} 12:00"
                OUTPUT_VARIABLE cpputil_deb_date OUTPUT_STRIP_TRAILING_WHITESPACE
                COMMAND_ERROR_IS_FATAL ANY)

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  set(debian_changelog ${PROJECT_BINARY_DIR}/debian/${package}/changelog.Debian)
  file(WRITE ${debian_changelog}
    "${package} (${cpputil_deb_version}) unstable; urgency=medium\n\n"
    "  * Release ${PROJECT_VERSION}: see changelog.gz.\n\n"
    " -- ${INSTALL_CPPUTIL_MAINTAINER}  ${cpputil_deb_date}\n")
  add_custom_command(OUTPUT ${debian_changelog}.gz
    COMMAND gzip -9nkf ${debian_changelog} DEPENDS ${debian_changelog} VERBATIM)
  add_custom_target(cpputil_changelog_${component} ALL DEPENDS ${debian_changelog}.gz)
  install(FILES ${PROJECT_BINARY_DIR}/copyright ${PROJECT_BINARY_DIR}/changelog.gz
          ${debian_changelog}.gz
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component})
  file(WRITE ${PROJECT_BINARY_DIR}/debian/${package}/lintian-overrides
    "# Built by the project, never uploaded to Debian: there is no bug that asked for it.\n"
    "${package}: initial-upload-closes-no-bugs\n")
  install(FILES ${PROJECT_BINARY_DIR}/debian/${package}/lintian-overrides
          DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME ${package}
          COMPONENT ${component})
endforeach()

if(INSTALL_CPPUTIL_BUILD_DOCS)
  # Registers the reference with the system's documentation browsers.
  file(WRITE ${PROJECT_BINARY_DIR}/debian/doc-base
    "Document: ${CPACK_DEBIAN_DOCUMENTATION_PACKAGE_NAME}\n"
    "Title: install_cpputil API reference\n"
    "Author: The install_cpputil authors\n"
    "Abstract: The C++ and C interfaces of install_cpputil, utilities for the components of\n"
    " a desktop software installer, with pages on the input file, the installation log, the\n"
    " rule strings, the trace channels, the C interface and the Python module.\n"
    "Section: Programming/C++\n\n"
    "Format: HTML\n"
    "Index: /usr/${CMAKE_INSTALL_DOCDIR}/html/index.html\n"
    "Files: /usr/${CMAKE_INSTALL_DOCDIR}/html/*.html\n")
  install(FILES ${PROJECT_BINARY_DIR}/debian/doc-base DESTINATION ${CMAKE_INSTALL_DATADIR}/doc-base
          RENAME ${CPACK_DEBIAN_DOCUMENTATION_PACKAGE_NAME} COMPONENT documentation)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME install-cpputil)
set(CPACK_PACKAGE_VENDOR "The install_cpputil authors")
set(CPACK_PACKAGE_CONTACT "${INSTALL_CPPUTIL_MAINTAINER}")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
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
# dpkg runs ldconfig once through this trigger; CPack also writes maintainer scripts that call
# it, which debian-fixups.cmake takes out of the built package.
file(WRITE ${PROJECT_BINARY_DIR}/debian/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/debian/triggers)
# Debian's pkg-config wrappers for cross builds read only the multiarch folder.
set(CPACK_DEBIAN_CPPUTIL_MULTIARCH "${CMAKE_LIBRARY_ARCHITECTURE}")
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian-fixups.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian-fixups.cmake)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS libboost-log-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS ${CPACK_DEBIAN_DOCUMENTATION_PACKAGE_NAME})
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_SECTION doc)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_ARCHITECTURE all)
# Pure Python that calls the library's C functions by name: for this very version of them.
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3:any")

set(cpputil_about "install_cpputil is a C++ library for the components of a desktop software
installer: the installation log, a cancel flag that reaches long-running work
as an exception, the installer's input file, argument validation against rule
strings, dotted version comparison, sandbox detection and the installer locale.")
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "C++ utilities for software installers
${cpputil_about}

This package contains the shared library.")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "C++ utilities for software installers - development files
${cpputil_about}

This package contains the C++17 headers, the C header, the CMake package and
the pkg-config file.")
set(CPACK_COMPONENT_TOOL_DESCRIPTION "installer utilities from the shell
${cpputil_about}

This package contains install-cpputil, which offers these services to the
shell-script parts of an installer, with its manual page and bash completion.")
set(CPACK_COMPONENT_DOCUMENTATION_DESCRIPTION "C++ utilities for software installers - documentation
${cpputil_about}

This package contains the API reference in HTML, with pages on the input
file, the installation log, the rule strings, the trace channels, the C
interface and the Python module, the README and the examples.")
set(CPACK_COMPONENT_PYTHON_DESCRIPTION "installer utilities for Python 3
${cpputil_about}

This package contains the Python 3 module install_cpputil, pure Python over
the library's C interface.")

include(CPack)
cpack_add_component(runtime DISPLAY_NAME "Shared library")
cpack_add_component(development DISPLAY_NAME "Development files" DEPENDS runtime)
cpack_add_component(tool DISPLAY_NAME "Command-line tool" DEPENDS runtime)
cpack_add_component(documentation DISPLAY_NAME "Documentation")
cpack_add_component(python DISPLAY_NAME "Python module" DEPENDS runtime)
