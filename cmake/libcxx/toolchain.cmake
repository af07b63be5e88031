# clang with LLVM's libc++ in place of libstdc++, so that no code of ours leans on one standard
# library. Boost and GoogleTest must be built for libc++ too: they come from the prefix that
# ./dev libcxx prepares once, where cmake/cache-dir says.
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_CXX_FLAGS_INIT -stdlib=libc++)
foreach(kind IN ITEMS EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT -stdlib=libc++)
endforeach()

execute_process(COMMAND ${CMAKE_CURRENT_LIST_DIR}/../cache-dir libcxx
                OUTPUT_VARIABLE cpputil_libcxx_cache OUTPUT_STRIP_TRAILING_WHITESPACE)
if(NOT IS_DIRECTORY "${cpputil_libcxx_cache}/prefix")
  message(FATAL_ERROR "No libc++ dependencies in ${cpputil_libcxx_cache}: ./dev libcxx makes them")
endif()
list(PREPEND CMAKE_PREFIX_PATH "${cpputil_libcxx_cache}/prefix")
# Some tests run programs as another user, who may not enter the cache (in root's home, say):
# they find Boost's libraries through a copy in the build tree too.
get_property(cpputil_try_compile GLOBAL PROPERTY IN_TRY_COMPILE)
if(NOT cpputil_try_compile)
  file(GLOB cpputil_libcxx_runtime "${cpputil_libcxx_cache}/prefix/lib/*.so.*")
  file(COPY ${cpputil_libcxx_runtime} DESTINATION "${CMAKE_BINARY_DIR}/libcxx-runtime")
  set(CMAKE_BUILD_RPATH "${CMAKE_BINARY_DIR}/libcxx-runtime")
endif()
