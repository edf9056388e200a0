# The build for scripts/mutate. Every test program links one shared library of everything that
# ships, or a second one over the fixed operating system's seam; tests/CMakeLists.txt has the lists.
# So a change to a source costs compiling it and linking one library, but no test program.
set(CMAKE_CXX_VISIBILITY_PRESET default)
set(CMAKE_VISIBILITY_INLINES_HIDDEN OFF)
set(CMAKE_LINK_DEPENDS_NO_SHARED ON)
# A changed library is put before the built one by LD_LIBRARY_PATH.
add_link_options(-Wl,--enable-new-dtags -Wl,-z,lazy)

# The areas of tests/ that look at src/.
set(KELD_TEST_AREAS support os basetool frame qsktool status rename jobs bom delete copy)

# Add the two libraries. Requires: the object libraries of src/.
function(keld_mutants_libraries)
  set(all $<TARGET_OBJECTS:keld_se_objects> $<TARGET_OBJECTS:keld_qsktool_objects>
          $<TARGET_OBJECTS:keld_basetool_objects>)
  add_library(keld_mutants SHARED ${all} $<TARGET_OBJECTS:keld_os_objects>)
  add_library(keld_mutants_fixed SHARED ${all} $<TARGET_OBJECTS:keld_fixed_os_objects>)
  set_target_properties(keld_mutants keld_mutants_fixed PROPERTIES LINKER_LANGUAGE CXX)
endfunction()
