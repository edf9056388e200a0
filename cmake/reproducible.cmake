# The same sources give the same bytes in any directory: what ships names no directory of the build.
# The build stamp is the compiler's __DATE__ and __TIME__, which follow SOURCE_DATE_EPOCH. A debug
# build keeps the real names, for the debugger.
if(NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
  # Of several options that match, the compiler takes the last one.
  add_compile_options(-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.
                      -ffile-prefix-map=${PROJECT_BINARY_DIR}=build)
endif()
if(WIN32)
  # Leave the time of linking out of the module's header.
  add_link_options(-Wl,--no-insert-timestamp)
endif()
