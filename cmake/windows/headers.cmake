# Header-only libraries are the same for every system. They are copied into a directory of their
# own, since a cross compiler must not see the system's include directory.
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
