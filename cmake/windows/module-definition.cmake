# Writes the module-definition file of the C functions that the C header declares, from which
# llvm-dlltool makes an import library for MSVC's linker.
# Usage: cmake -DHEADER=cpputil.h -DOUT=install_cpputil.def -P module-definition.cmake
file(STRINGS ${HEADER} declarations REGEX "^INSTALL_CPPUTIL_EXPORT ")
set(names "")
foreach(declaration IN LISTS declarations)
  if(declaration MATCHES "[ *](install_cpputil_[a-z0-9_]+)\\(")
    list(APPEND names ${CMAKE_MATCH_1})
  endif()
endforeach()
if(names STREQUAL "")
  message(FATAL_ERROR "no C functions declared in ${HEADER}")
endif()
list(SORT names)
list(JOIN names "\n  " exports)
file(WRITE ${OUT} "LIBRARY install_cpputil.dll\nEXPORTS\n  ${exports}\n")
