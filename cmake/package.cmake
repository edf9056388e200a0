# Packages, by cpack: for Debian one for each component, for Windows one archive of everything.
set(CPACK_PACKAGE_NAME keld-server-exits)
set(CPACK_PACKAGE_VENDOR "KELD Server Exits")
set(CPACK_PACKAGE_CONTACT "KELD Server Exits <keld@example.invalid>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Services for the server process of a product-data platform")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_COMPONENTS_ALL library tools development)
set(CPACK_STRIP_FILES ON)
set(CPACK_THREADS 0)

if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_PACKAGE_FILE_NAME keld-server-exits-${PROJECT_VERSION}-win64)
  set(CPACK_COMPONENTS_GROUPING ALL_COMPONENTS_IN_ONE)
  set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
else()
  set(CPACK_GENERATOR DEB)
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_DEB_COMPONENT_INSTALL ON)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_SECTION misc)
  # cpack reads the dependencies from the binaries; our own libraries come from the package beside
  # it.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/lib)
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

  # The name has the major number, since another one may be installed beside this one.
  set(keld_library_package libkeld-se${PROJECT_VERSION_MAJOR})
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${keld_library_package})
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
  set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "Services for the server process of a product-data platform
 Release status, rename, renumbering of bills of materials, jobs, deletion and attribute copy, to be
 loaded by the platform's server process.")

  set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME keld)
  set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
  set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${keld_library_package} (= ${PROJECT_VERSION})")
  set(CPACK_DEBIAN_TOOLS_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
  set(CPACK_DEBIAN_TOOLS_DESCRIPTION "Workbench and command line for the services of libkeld-se
 The platform's interface on a store in one file, and keld, which calls the services over it.")

  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libkeld-se-dev)
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
      "${keld_library_package} (= ${PROJECT_VERSION}), keld (= ${PROJECT_VERSION})")
  set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "Headers for libraries and hosts beside libkeld-se
 With a CMake package and files for pkg-config.")
endif()
include(CPack)
