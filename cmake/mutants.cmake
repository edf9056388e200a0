# The build for scripts/mutate. Every test program links one shared library of everything that
# ships, or a second one over the fixed operating system's seam. So a change to a source costs
# compiling it and linking one library, but no test program.
set(CMAKE_CXX_VISIBILITY_PRESET default)
set(CMAKE_VISIBILITY_INLINES_HIDDEN OFF)
set(CMAKE_LINK_DEPENDS_NO_SHARED ON)
# A changed library is put before the built one by LD_LIBRARY_PATH.
add_link_options(-Wl,--enable-new-dtags -Wl,-z,lazy)

# The areas of tests/ that look at src/.
set(KELD_TEST_AREAS support os basetool frame qsktool status rename jobs bom delete copy)

function(keld_mutants_libraries)
  add_library(keld_mutants SHARED $<TARGET_OBJECTS:keld_se_objects> $<TARGET_OBJECTS:keld_qsktool_objects>
              $<TARGET_OBJECTS:keld_basetool_objects> $<TARGET_OBJECTS:keld_os_objects>)
  add_library(keld_mutants_fixed SHARED $<TARGET_OBJECTS:keld_se_objects> $<TARGET_OBJECTS:keld_qsktool_objects>
              $<TARGET_OBJECTS:keld_basetool_objects> $<TARGET_OBJECTS:keld_fixed_os_objects>)
  set_target_properties(keld_mutants keld_mutants_fixed PROPERTIES LINKER_LANGUAGE CXX)
endfunction()

# A test program, declared by the variables of keld_test.
macro(keld_mutants_test name)
  set(library keld_mutants)
  set(platform "")
  if(arg_MODE STREQUAL "shared" OR arg_MODE STREQUAL "objects")
    set(platform mervane)
  elseif(arg_MODE STREQUAL "fixed_os")
    set(library keld_mutants_fixed)
    set(platform mervane)
  elseif(arg_MODE STREQUAL "basetool")
    set(library keld_mutants_fixed keld_log_fixture_objects)
  elseif(arg_MODE STREQUAL "frame_only")
    set(library keld_mutants_fixed keld_log_fixture_objects)
    list(APPEND arg_SOURCES ${PROJECT_SOURCE_DIR}/tests/support/frame_platform.cpp)
  endif()
  list(FILTER arg_LINK EXCLUDE REGEX "^keld_")
  list(APPEND arg_LINK ${library} ${platform})
  add_executable(${name} ${arg_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/src
                             ${keld_generated})
  target_link_libraries(${name} PRIVATE keld_warnings GTest::gmock GTest::gtest_main Threads::Threads
                        ${world} ${arg_LINK})
  # Platform functions that a test doesn't have may stay undefined: they fail only when called.
  target_link_options(${name} PRIVATE -Wl,--allow-shlib-undefined)
  target_compile_definitions(${name} PRIVATE ${arg_DEFINITIONS}
    KELD_TRACE_FILE="tests/${name}")
  set_property(GLOBAL APPEND PROPERTY keld_mutants_programs ${name})
endmacro()
