# Installed files in three components: `library` is for servers; `tools` is the workbench with keld;
# `development` is for building a sibling library or another host.
include(CMakePackageConfigHelpers)

set(keld_headers ${CMAKE_INSTALL_INCLUDEDIR}/keld-server-exits)
set(keld_cmake ${CMAKE_INSTALL_LIBDIR}/cmake/keld)
set(keld_data ${CMAKE_INSTALL_DATADIR}/keld)

# Libraries find each other in their own directory; programs find them in the library directory. The
# build tree has the installed run path from the start: replacing a run path leaves an empty element
# at its end, and for that the loader looks in the current directory.
file(RELATIVE_PATH keld_bin_to_lib ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})

function(keld_install_library library component)
  if(NOT WIN32)
    set_target_properties(${library} PROPERTIES INSTALL_RPATH "$ORIGIN"
                          BUILD_WITH_INSTALL_RPATH ON)
  endif()
  set_target_properties(${library} PROPERTIES EXPORT_NAME ${library})
  install(TARGETS ${library} EXPORT keld
          RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT ${component}
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${component}
                  NAMELINK_COMPONENT development
          ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
          INCLUDES DESTINATION ${keld_headers})
endfunction()

foreach(library keld_basetool keld_qsktool keld_se)
  keld_install_library(${library} library)
endforeach()
install(DIRECTORY src/platform DESTINATION ${keld_headers} COMPONENT development
        FILES_MATCHING PATTERN "*.h")
# Hosts use libkeld_basetool and libkeld_qsktool through keld_se.h, or by their own headers only.
set(keld_pc_libraries "-lkeld_se -lkeld_qsktool -lkeld_basetool")

if(KELD_WORKBENCH)
  keld_install_library(mervane tools)
  install(FILES workbench/workbench.h workbench/journal.h workbench/run.h workbench/values.h
          DESTINATION ${keld_headers}/workbench COMPONENT development)
  if(NOT WIN32)
    # The second path is that of the build tree, if it is another.
    set(keld_run_path "$ORIGIN/${keld_bin_to_lib}" "$ORIGIN/../lib")
    list(REMOVE_DUPLICATES keld_run_path)
    set_target_properties(keld PROPERTIES INSTALL_RPATH "${keld_run_path}"
                          BUILD_WITH_INSTALL_RPATH ON)
  endif()
  install(TARGETS keld keld-batch RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  install(FILES docs/man/keld.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
  install(FILES docs/completion/keld DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
          COMPONENT tools)
  install(FILES docs/completion/_keld DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions
          COMPONENT tools)
  install(DIRECTORY samples/ DESTINATION ${keld_data}/samples COMPONENT tools)
endif()
if(WIN32)
  install(FILES ${keld_runtime_files} DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
endif()
install(FILES docs/man/keld_statusmanager.ini.5 DESTINATION ${CMAKE_INSTALL_MANDIR}/man5
        COMPONENT library)

install(EXPORT keld NAMESPACE keld:: FILE keld-targets.cmake DESTINATION ${keld_cmake}
        COMPONENT development)
configure_package_config_file(cmake/keld-config.cmake.in ${PROJECT_BINARY_DIR}/keld-config.cmake
                              INSTALL_DESTINATION ${keld_cmake})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/keld-config-version.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/keld-config.cmake ${PROJECT_BINARY_DIR}/keld-config-version.cmake
        DESTINATION ${keld_cmake} COMPONENT development)

# The prefix is relative to this file, so that the tree can be moved.
file(RELATIVE_PATH keld_pc_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" keld_pc_prefix "${keld_pc_prefix}")
set(keld_pc_files keld_se)
if(KELD_WORKBENCH)
  list(APPEND keld_pc_files mervane)
endif()
foreach(name IN LISTS keld_pc_files)
  configure_file(cmake/${name}.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
          COMPONENT development)
endforeach()

install(FILES LICENSE NOTICE CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT library)
