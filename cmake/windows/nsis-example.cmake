# Makes the example NSIS installer from the build's runtime and tool components, staged as the
# SDK's bin folder is. Usage:
#   cmake -DBUILD=DIR -DMAKENSIS=makensis -DSCRIPT=installer.nsi -DOUT=DIR -P nsis-example.cmake
file(REMOVE_RECURSE ${OUT}/sdk)
foreach(component IN ITEMS runtime tool)
  execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD} --prefix ${OUT}/sdk --strip
                  --component ${component} OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
endforeach()
execute_process(COMMAND ${MAKENSIS} -V2 -INPUTCHARSET UTF8 -DBIN=${OUT}/sdk/bin
                -DOUTFILE=${OUT}/example-installer.exe ${SCRIPT} COMMAND_ERROR_IS_FATAL ANY)
