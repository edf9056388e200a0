# A library's file and soname (Linux) or its resource (Windows) carry the version. Within one major
# number a newer library serves whoever was linked against an older one.
function(keld_versioned library)
  if(WIN32)
    string(REPLACE "." "," numbers "${PROJECT_VERSION}")
    file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/${library}.rc CONTENT "1 VERSIONINFO
FILEVERSION ${numbers}
PRODUCTVERSION ${numbers}
FILETYPE 2
BEGIN
  BLOCK \"StringFileInfo\"
  BEGIN
    BLOCK \"040904E4\"
    BEGIN
      VALUE \"FileDescription\", \"${library}\"
      VALUE \"FileVersion\", \"${PROJECT_VERSION}\"
      VALUE \"ProductName\", \"KELD Server Exits\"
      VALUE \"ProductVersion\", \"${PROJECT_VERSION}\"
    END
  END
  BLOCK \"VarFileInfo\"
  BEGIN
    VALUE \"Translation\", 0x409, 1252
  END
END
" @ONLY)
    target_sources(${library} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/${library}.rc)
  else()
    set_target_properties(${library} PROPERTIES VERSION ${PROJECT_VERSION}
                          SOVERSION ${PROJECT_VERSION_MAJOR})
  endif()
endfunction()
