# Libraries that are headers alone are the same for every system. They are copied into a directory
# of their own, since the system's whole include directory must not be seen by a cross compiler.
function(keld_copied_headers target folder)
  set(headers ${PROJECT_BINARY_DIR}/headers)
  find_path(found_${folder} ${folder} PATHS /usr/include /usr/local/include NO_DEFAULT_PATH
            NO_CMAKE_FIND_ROOT_PATH REQUIRED)
  if(NOT EXISTS ${headers}/${folder})
    file(COPY ${found_${folder}}/${folder} DESTINATION ${headers})
  endif()
  add_library(${target} INTERFACE IMPORTED GLOBAL)
  target_include_directories(${target} SYSTEM INTERFACE ${headers})
endfunction()
