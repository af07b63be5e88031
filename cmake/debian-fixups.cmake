# What Debian asks of the packages and CPack does not give, run by CPack twice.
#
# Before packing, on the staged files: the pkg-config file moves to the multiarch folder, the one
# that Debian's pkg-config wrappers for cross builds read, and names its prefix /usr plainly,
# since pkg-config leaves out -I/usr/include only when it is spelled so.
#
# After packing: CPack gives a package that holds a library in /usr/lib maintainer scripts that
# call ldconfig; where the package has the ldconfig trigger instead, they are taken out.
if(NOT CPACK_PACKAGE_FILES)
  if(CPACK_DEBIAN_CPPUTIL_MULTIARCH)
    file(GLOB pc_files "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*/usr/lib/pkgconfig/*.pc")
    foreach(pc IN LISTS pc_files)
      get_filename_component(pc_dir "${pc}" DIRECTORY)
      get_filename_component(lib_dir "${pc_dir}" DIRECTORY)
      get_filename_component(name "${pc}" NAME)
      file(READ "${pc}" text)
      string(REGEX REPLACE "^prefix=[^\n]*" "prefix=/usr" text "${text}")
      file(WRITE "${lib_dir}/${CPACK_DEBIAN_CPPUTIL_MULTIARCH}/pkgconfig/${name}" "${text}")
      file(REMOVE "${pc}")
      file(GLOB left "${pc_dir}/*")
      if(NOT left)
        file(REMOVE_RECURSE "${pc_dir}")
      endif()
    endforeach()
  endif()
  return()
endif()

foreach(deb IN LISTS CPACK_PACKAGE_FILES)
  set(tree "${deb}.tree")
  file(REMOVE_RECURSE "${tree}")
  execute_process(COMMAND dpkg-deb --raw-extract "${deb}" "${tree}" COMMAND_ERROR_IS_FATAL ANY)
  if(EXISTS "${tree}/DEBIAN/triggers")
    file(REMOVE "${tree}/DEBIAN/postinst" "${tree}/DEBIAN/postrm")
    execute_process(COMMAND dpkg-deb --root-owner-group --build "${tree}" "${deb}" OUTPUT_QUIET
                    COMMAND_ERROR_IS_FATAL ANY)
  endif()
  file(REMOVE_RECURSE "${tree}")
endforeach()
