# The compiler's own libraries as modules, for everything that throws exceptions across modules: the
# workbench, keld and the tests. Modules for servers contain these libraries instead.
set(keld_runtime libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
set(keld_runtime_files "")
foreach(name IN LISTS keld_runtime)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${name}
                  OUTPUT_VARIABLE file OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT IS_ABSOLUTE "${file}")
    unset(found_${name} CACHE)
    find_file(found_${name} ${name} PATHS /usr/x86_64-w64-mingw32/lib NO_DEFAULT_PATH
              NO_CMAKE_FIND_ROOT_PATH REQUIRED)
    set(file ${found_${name}})
  endif()
  list(APPEND keld_runtime_files ${file})
  file(COPY ${file} DESTINATION ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
endforeach()
