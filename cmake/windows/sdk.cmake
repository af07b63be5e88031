# The Windows SDK, one zip made by CPack (./dev windows): the DLL with the DLLs it needs, the tool,
# the headers, the CMake package, and import libraries for MinGW-w64 (libinstall_cpputil.dll.a)
# and for MSVC's linker (install_cpputil.lib). Beside it, the example NSIS installer.
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE ${PROJECT_SOURCE_DIR}/README.md
        ${PROJECT_SOURCE_DIR}/CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/c ${PROJECT_SOURCE_DIR}/examples/nsis
        DESTINATION ${CMAKE_INSTALL_DATADIR}/install_cpputil/examples COMPONENT development)

# Another compiler can use the C functions alone, so MSVC's import library lists those the C header
# declares, from a module-definition file that is installed too.
find_program(CPPUTIL_DLLTOOL NAMES llvm-dlltool-14 llvm-dlltool REQUIRED)
set(cpputil_c_header ${PROJECT_SOURCE_DIR}/include/install/cpputil/cpputil.h)
set(cpputil_def ${PROJECT_BINARY_DIR}/install_cpputil.def)
set(cpputil_lib ${PROJECT_BINARY_DIR}/install_cpputil.lib)
add_custom_command(OUTPUT ${cpputil_def}
  COMMAND ${CMAKE_COMMAND} -DHEADER=${cpputil_c_header} -DOUT=${cpputil_def}
          -P ${CMAKE_CURRENT_LIST_DIR}/module-definition.cmake
  DEPENDS ${cpputil_c_header} ${CMAKE_CURRENT_LIST_DIR}/module-definition.cmake VERBATIM)
add_custom_command(OUTPUT ${cpputil_lib}
  COMMAND ${CPPUTIL_DLLTOOL} -m i386:x86-64 -d ${cpputil_def} -l ${cpputil_lib}
  DEPENDS ${cpputil_def} VERBATIM)
add_custom_target(cpputil_msvc_import_library ALL DEPENDS ${cpputil_lib})
install(FILES ${cpputil_def} ${cpputil_lib} DESTINATION ${CMAKE_INSTALL_LIBDIR}
        COMPONENT development)

# The example NSIS installer carries the SDK's bin folder, as a product's installer would; the
# tests run it under Wine.
if(TARGET install-cpputil)
  find_program(CPPUTIL_MAKENSIS makensis REQUIRED)
  set(cpputil_nsis ${PROJECT_BINARY_DIR}/nsis)
  set(cpputil_nsis_example ${PROJECT_SOURCE_DIR}/examples/nsis)
  add_custom_command(OUTPUT ${cpputil_nsis}/example-installer.exe
    COMMAND ${CMAKE_COMMAND} -DBUILD=${PROJECT_BINARY_DIR} -DMAKENSIS=${CPPUTIL_MAKENSIS}
            -DSCRIPT=${cpputil_nsis_example}/installer.nsi -DOUT=${cpputil_nsis}
            -P ${CMAKE_CURRENT_LIST_DIR}/nsis-example.cmake
    DEPENDS install_cpputil install-cpputil ${CMAKE_CURRENT_LIST_DIR}/nsis-example.cmake
            ${cpputil_nsis_example}/installer.nsi ${cpputil_nsis_example}/settings.txt
            ${cpputil_nsis_example}/components.txt
    COMMENT "Example NSIS installer ${cpputil_nsis}/example-installer.exe" VERBATIM)
  add_custom_target(cpputil_nsis_example ALL DEPENDS ${cpputil_nsis}/example-installer.exe)
endif()

set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_FILE_NAME ${PROJECT_NAME}-${PROJECT_VERSION}-win64)
set(CPACK_COMPONENTS_ALL runtime development tool)
set(CPACK_STRIP_FILES ON)
include(CPack)
