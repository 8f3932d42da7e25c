# Three Debian packages, one per component. `./dev package` builds them.
find_program(KIV_DPKG_SHLIBDEPS dpkg-shlibdeps)
if(NOT KIV_DPKG_SHLIBDEPS)
    return()
endif()

set(CPACK_GENERATOR DEB)
# Empty, so that each package's description begins with a line of its own.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGE_VENDOR "The KivTSFileStorage developers")
set(KIV_PACKAGE_CONTACT "The KivTSFileStorage developers <developers@kivtsfilestorage.example>" CACHE STRING
    "Who maintains the Debian packages: NAME <ADDRESS>")
set(CPACK_PACKAGE_CONTACT ${KIV_PACKAGE_CONTACT})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL library development kivts)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(deb_version ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})

set(library_package libkivtsfilestorage${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${library_package})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
# Programs of others depend on at least the version that they were built with: a later one keeps the ABI.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_SOURCE_DIR}/debian/triggers)
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "embedded time-series store - shared library
KivTSFileStorage keeps each time series in a directory of compact record
files and reads it back raw, interpolated, or aggregated over fixed and
calendar intervals. There is no server and no index.
.
This package holds the shared libraries.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libkivtsfilestorage-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "${library_package} (= ${deb_version}), qt6-base-dev (>= ${KIV_QT_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "embedded time-series store - development files
KivTSFileStorage keeps each time series in a directory of compact record
files and reads it back raw, interpolated, or aggregated over fixed and
calendar intervals. There is no server and no index.
.
This package holds the headers, the CMake package and the pkg-config files.")

set(CPACK_DEBIAN_KIVTS_PACKAGE_NAME kivts)
set(CPACK_DEBIAN_KIVTS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_KIVTS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_KIVTS_PACKAGE_DEPENDS "${library_package} (= ${deb_version})")
# Where dpkg-shlibdeps finds the project's own libraries, which no installed package has.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src ${PROJECT_BINARY_DIR}/logger)
set(CPACK_DEBIAN_KIVTS_DESCRIPTION "embedded time-series store - command line
The program kivts imports CSV files into time series of KivTSFileStorage,
reads them back raw, interpolated or aggregated over intervals as a table,
CSV or JSON, and counts, inspects and deletes what they hold.")

# What every package tells about itself; no part of other installations.
configure_file(debian/changelog.in debian/changelog @ONLY)
foreach(component library development kivts)
    string(TOUPPER ${component} upper)
    set(doc_dir share/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
    install(FILES debian/lintian-overrides DESTINATION share/lintian/overrides
            RENAME ${CPACK_DEBIAN_${upper}_PACKAGE_NAME} COMPONENT ${component} EXCLUDE_FROM_ALL)
    install(FILES debian/copyright DESTINATION ${doc_dir} COMPONENT ${component} EXCLUDE_FROM_ALL)
    kiv_install_compressed(${CMAKE_CURRENT_BINARY_DIR}/debian/changelog changelog.Debian ${doc_dir} ${component}
                           EXCLUDE_FROM_ALL)
    kiv_install_compressed(${PROJECT_SOURCE_DIR}/CHANGELOG.md changelog ${doc_dir} ${component} EXCLUDE_FROM_ALL)
endforeach()

include(CPack)
