# Finds libcsv; an archive is preferred, so that the packages depend on one package less.
find_path(LibCsv_INCLUDE_DIR csv.h)
find_library(LibCsv_LIBRARY NAMES libcsv.a csv)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(LibCsv REQUIRED_VARS LibCsv_LIBRARY LibCsv_INCLUDE_DIR)
mark_as_advanced(LibCsv_INCLUDE_DIR LibCsv_LIBRARY)
if(LibCsv_FOUND AND NOT TARGET LibCsv::LibCsv)
  add_library(LibCsv::LibCsv UNKNOWN IMPORTED)
  set_target_properties(LibCsv::LibCsv PROPERTIES IMPORTED_LOCATION ${LibCsv_LIBRARY}
                        INTERFACE_INCLUDE_DIRECTORIES ${LibCsv_INCLUDE_DIR})
endif()
